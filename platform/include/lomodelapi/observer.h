// The observers that the model calls when a subscribed object changes. A television's own header must offer
// these classes with this order of virtual operations: destructor, one operation with a default
// implementation, then the notifications of the kind.
//
// Every notification arrives on a thread of the model, never on the stack of the client's own call. Arguments
// are valid during the call only. A notification must not block for long, because the next one waits for it.
#ifndef LOMODELAPI_OBSERVER_H
#define LOMODELAPI_OBSERVER_H

#include <string>
#include <vector>

#include "lomodelapi/argument.h"

namespace lomodelapi {

class Observer {
  public:
    virtual ~Observer() = default;

    // The object of the subscription went away (`available` is false) or came back. The subscription stays.
    virtual void notifyAvailability(bool available) { static_cast<void>(available); }
};

class ObserverNumericInteger : public Observer {
  public:
    virtual void notifyNewValue(int value) = 0;
};

class ObserverNumericInt64 : public Observer {
  public:
    virtual void notifyNewValue(long long value) = 0;
};

class ObserverString : public Observer {
  public:
    virtual void notifyNewValue(const std::string& value) = 0;
};

class ObserverVectorNumericInteger : public Observer {
  public:
    virtual void notifyIntegerVector(const std::vector<int>& value) = 0;
};

class ObserverVectorString : public Observer {
  public:
    virtual void notifyStringVector(const std::vector<std::string>& value) = 0;
};

// Each accepted invocation is answered once, by one of the two operations, with the id of the invocation.
class ObserverAction : public Observer {
  public:
    virtual void notifyExecutionError(unsigned int actionId, int error) = 0;
    virtual void notifyResult(unsigned int actionId, const std::vector<Argument>& result) = 0;
};

class ObserverTable : public Observer {
  public:
    virtual void notifyUpdate(int kind) = 0;
};

// The answers to an iterator's requests (lomodelapi/table.h), and its own notifications: the iterator is
// ready, with the number of its rows; the table was updated.
class ObserverTableIterator : public Observer {
  public:
    virtual void notifyCommit(int status) = 0;
    virtual void notifyTotalCount(int count) = 0;
    virtual void notifySeekToRow(int row) = 0;
    virtual void notifySeekToContent(int row) = 0;
    virtual void notifyCursorPosition(int row) = 0;
    virtual void notifyReadRow(const std::vector<std::string>& row) = 0;
    virtual void notifyReadRowChunk(const std::vector<const std::vector<std::string>*>& rows) = 0;
    virtual void notifyIteratorReady(int count) = 0;
    virtual void notifyUpdate(int kind) = 0;
};

}  // namespace lomodelapi

#endif
