// A table of the model.
#ifndef PLATFORM_ADAPTATION_SYSTEM_ACCESS_TABLE_ACCESS_H
#define PLATFORM_ADAPTATION_SYSTEM_ACCESS_TABLE_ACCESS_H

#include <memory>
#include <string>

#include "lomodelapi/observer.h"
#include "platform_adaptation/export.h"
#include "platform_adaptation/system_access/value_access_base.h"

// Kept by a TableAccess and never called: what happens to a table's rows is told to its iterators.
class PLATFORM_ADAPTATION_API TableHandler {
  public:
    virtual ~TableHandler() = default;
    virtual void onUpdate(int kind) = 0;
};

// An accessor to a table, from which iterators are made.
class PLATFORM_ADAPTATION_API TableAccess : public ValueAccessBase, public lomodelapi::ObserverTable {
  public:
    // Neither connects.
    TableAccess(std::string name, std::shared_ptr<TableHandler> handler);
    explicit TableAccess(std::string name);
    // Disconnects if connected.
    ~TableAccess() override;

    // 0; 5 if there is no such object within the time-out. Its type is not checked: an object that is no
    // table gives no iterators.
    int connect(int timeoutMs) override;
    int disconnect() override;

    // Replaces the handler, empty for none; returns 0.
    virtual int setActionResultHandler(std::shared_ptr<TableHandler> handler);

    // Called by the model, on its threads. Logs, and tells nobody.
    void notifyUpdate(int kind) override;

    // The model's object; null when not connected.
    BizValue* getAccess() const;

  private:
    int m_timeout;  // as last passed to connect()
    std::shared_ptr<TableHandler> m_tableHandler;
    BizValue* m_table;  // the base's object: set and cleared with it
};

#endif
