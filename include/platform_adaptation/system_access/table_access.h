// A table of the model.
#ifndef PLATFORM_ADAPTATION_SYSTEM_ACCESS_TABLE_ACCESS_H
#define PLATFORM_ADAPTATION_SYSTEM_ACCESS_TABLE_ACCESS_H

#include <memory>
#include <string>

#include "lomodelapi/observer.h"
#include "platform_adaptation/export.h"
#include "platform_adaptation/system_access/value_access_base.h"

// Held by a TableAccess, but never called: iterators are notified of changes of a table's rows.
class PLATFORM_ADAPTATION_API TableHandler {
  public:
    virtual ~TableHandler() = default;
    virtual void onUpdate(int kind) = 0;
};

// An accessor to a table, which creates iterators.
class PLATFORM_ADAPTATION_API TableAccess : public ValueAccessBase, public lomodelapi::ObserverTable {
  public:
    // The constructors do not connect.
    TableAccess(std::string name, std::shared_ptr<TableHandler> handler);
    explicit TableAccess(std::string name);
    // Disconnects if connected.
    ~TableAccess() override;

    // Returns 0; 5 if there is no such object within the timeout. The type is not checked: an object that is
    // not a table creates no iterators.
    int connect(int timeoutMs) override;
    int disconnect() override;

    // Replaces the handler, empty for none; returns 0.
    virtual int setActionResultHandler(std::shared_ptr<TableHandler> handler);

    // The model calls this, on its thread. Writes a log line, and does not call the handler.
    void notifyUpdate(int kind) override;

    // The model's object; null when not connected.
    BizValue* getAccess() const;

  private:
    int m_timeout;  // the last timeout passed to connect()
    std::shared_ptr<TableHandler> m_tableHandler;
    BizValue* m_table;  // the base's object: set and cleared with it
};

#endif
