// The model's object behind one key. A television's own header must offer these operations.
//
// One class serves every type of object. An operation that does not fit the object's type is refused and not
// undefined: a client that mistakes an object's type gets an error, and never reads another object's memory.
#ifndef LOMODELAPI_BIZ_VALUE_H
#define LOMODELAPI_BIZ_VALUE_H

#include <map>
#include <string>
#include <vector>

#include "lomodelapi/argument.h"
#include "lomodelapi/object_type_spec.h"
#include "lomodelapi/table.h"

namespace lomodelapi {
class ObserverTableIterator;
}

// Any thread may call all operations; they may block for as long as the model takes to answer. A read or
// write that returns a status returns 0 on success; a failed read does not change its output.
class BizValue {
  public:
    // The status of an operation that does not fit the object's type.
    static constexpr int WRONG_TYPE = 6;

    virtual lomodelapi::ObjectTypeSpec getType() = 0;

    // OBJECT_TYPE_NUMERIC_INTEGER
    virtual int getInteger() { return 0; }
    virtual int setInteger(int) { return WRONG_TYPE; }

    // OBJECT_TYPE_NUMERIC_INT64
    virtual long long getInt64() { return 0; }
    virtual int setInt64(long long) { return WRONG_TYPE; }

    // OBJECT_TYPE_STRING
    virtual int getString(std::string&) { return WRONG_TYPE; }
    virtual int setString(const std::string&) { return WRONG_TYPE; }

    // OBJECT_TYPE_VECTOR_NUMERIC_INTEGER; a list is written as a map from position (0, 1, 2, ...) to element
    virtual int getIntegerVector(std::vector<int>&) { return WRONG_TYPE; }
    virtual int setIntegerVector(const std::map<int, int>&) { return WRONG_TYPE; }

    // OBJECT_TYPE_VECTOR_STRING; written like the integers
    virtual int getStringVector(std::vector<std::string>&) { return WRONG_TYPE; }
    virtual int setStringVector(const std::map<int, std::string>&) { return WRONG_TYPE; }

    // OBJECT_TYPE_ACTION: starts the action and sets the id of this invocation. Returns 0 if it was accepted;
    // the answer may arrive before this returns.
    virtual int invoke(unsigned int& actionId, const std::vector<lomodelapi::Argument>& arguments) {
        static_cast<void>(actionId);
        static_cast<void>(arguments);
        return WRONG_TYPE;
    }

    // OBJECT_TYPE_TABLE: opens an iterator, which sends all notifications to `observer`; null on failure.
    // After the release of the iterator, or the disconnection of the table, the observer is not called again,
    // unless the release runs inside a call of the observer on the same thread. A release returns 0 on
    // success.
    virtual lomodelapi::TableIterator* createIterator(
        const lomodelapi::IteratorType& type, lomodelapi::ObserverTableIterator* observer,
        const std::vector<lomodelapi::TableSelection>& selections, const std::vector<int>& columns,
        const std::vector<lomodelapi::TableOrder>& orders) {
        static_cast<void>(type);
        static_cast<void>(observer);
        static_cast<void>(selections);
        static_cast<void>(columns);
        static_cast<void>(orders);
        return nullptr;
    }
    virtual int releaseIterator(lomodelapi::TableIterator*) { return WRONG_TYPE; }

  protected:
    // The model owns its objects; a client returns one with RootInterface::disconnectValue.
    ~BizValue() = default;
};

#endif
