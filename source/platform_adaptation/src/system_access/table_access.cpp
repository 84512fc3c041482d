#include "platform_adaptation/system_access/table_access.h"

#include <utility>

#include "lomodelapi/biz_value.h"
#include "shared_member.h"
#include "status.h"

#define LOG_TAG "[Platform Adaptation]"
#include "log.h"

TableAccess::TableAccess(std::string name, std::shared_ptr<TableHandler> handler)
    : ValueAccessBase(name),
      m_timeout(m_connectTimeout),
      m_tableHandler(std::move(handler)),
      m_table(nullptr) {}

TableAccess::TableAccess(std::string name) : TableAccess(std::move(name), nullptr) {}

TableAccess::~TableAccess() {
    if (isConnected()) detach(this);
}

int TableAccess::connect(int timeoutMs) {
    storeShared(m_connectTimeout, timeoutMs);
    storeShared(m_timeout, timeoutMs);
    if (isConnected()) return STATUS_OK;

    int status = STATUS_OK;
    BizValue* const table = attach(getRootInterface(), this, timeoutMs, status);
    if (table == nullptr) {
        LOG_ERROR("Failed %d.\n", status);
        return STATUS_NOT_CONNECTED;
    }
    // The type is queried, but not checked: an object that is not a table refuses to create iterators.
    table->getType();
    storeShared(m_value, table);
    storeShared(m_table, table);
    return STATUS_OK;
}

int TableAccess::disconnect() {
    detach(this);
    storeShared<BizValue*>(m_table, nullptr);
    return STATUS_OK;
}

int TableAccess::setActionResultHandler(std::shared_ptr<TableHandler> handler) {
    m_tableHandler = std::move(handler);
    return STATUS_OK;
}

// The handler is deliberately not called: iterators are notified of changes of rows.
void TableAccess::notifyUpdate(int) {
    LOG_ENTER();
    [[maybe_unused]] const auto handler = m_tableHandler;
}

BizValue* TableAccess::getAccess() const { return loadShared(m_table); }
