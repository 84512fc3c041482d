#include "platform_adaptation/system_access/iterator_access.h"

#include <utility>

#include "lomodelapi/biz_value.h"
#include "platform_adaptation/system_access/table_access.h"
#include "shared_member.h"
#include "status.h"

#define LOG_TAG "[Platform Adaptation]"
#include "log.h"

using lomodelapi::IteratorType;
using lomodelapi::TableIterator;
using lomodelapi::TableOrder;
using lomodelapi::TableSelection;

namespace {

constexpr int TABLE_CONNECT_TIMEOUT_MS = 1000;

}  // namespace

IteratorAccess::IteratorAccess(std::string name, std::shared_ptr<IteratorHandler> handler,
                               const IteratorType& type, const std::vector<TableSelection>& selection,
                               const std::vector<int>& columns, const std::vector<TableOrder>& order)
    : ValueAccessBase(name),
      m_iteratorHandler(std::move(handler)),
      m_type(type),
      m_selection(selection),
      m_columns(columns),
      m_order(order),
      m_iterator(nullptr) {}

IteratorAccess::~IteratorAccess() {
    LOG_ENTER();
    if (m_table != nullptr) m_table->disconnect();
}

int IteratorAccess::connect(int) { return STATUS_OK; }

int IteratorAccess::disconnect() { return STATUS_OK; }

int IteratorAccess::create() {
    auto table = std::make_unique<TableAccess>(getName());
    if (const int status = table->connect(TABLE_CONNECT_TIMEOUT_MS); status != STATUS_OK) {
        LOG_ERROR("Error connect name : %s,  status: %d\n", m_name.c_str(), status);
        return STATUS_TABLE_NOT_CONNECTED;
    }
    m_table = std::move(table);
    storeShared(m_iterator,
                m_table->getAccess()->createIterator(m_type, this, m_selection, m_columns, m_order));
    return STATUS_OK;
}

int IteratorAccess::destroy() {
    if (TableIterator* const iterator = loadShared(m_iterator)) {
        m_table->getAccess()->releaseIterator(iterator);
        storeShared<TableIterator*>(m_iterator, nullptr);
    }
    return STATUS_OK;
}

int IteratorAccess::setActionResultHandler(std::shared_ptr<IteratorHandler> handler) {
    m_iteratorHandler = std::move(handler);
    return STATUS_OK;
}

TableIterator* IteratorAccess::getIterator() const { return loadShared(m_iterator); }

template <typename Argument, typename Parameter>
void IteratorAccess::forward(void (IteratorHandler::*operation)(Parameter), const Argument& argument) {
    if (const auto handler = m_iteratorHandler) (handler.get()->*operation)(argument);
}

void IteratorAccess::notifyCommit(int status) { forward(&IteratorHandler::onCommit, status); }
void IteratorAccess::notifyTotalCount(int count) { forward(&IteratorHandler::onTotalCount, count); }
void IteratorAccess::notifySeekToRow(int row) { forward(&IteratorHandler::onSeekToRow, row); }
void IteratorAccess::notifySeekToContent(int row) { forward(&IteratorHandler::onSeekToContent, row); }
void IteratorAccess::notifyCursorPosition(int row) { forward(&IteratorHandler::onCursorPosition, row); }
void IteratorAccess::notifyReadRow(const std::vector<std::string>& row) {
    forward(&IteratorHandler::onReadRow, row);
}
void IteratorAccess::notifyReadRowChunk(const std::vector<const std::vector<std::string>*>& rows) {
    forward(&IteratorHandler::onReadRowChunk, rows);
}
void IteratorAccess::notifyIteratorReady(int count) { forward(&IteratorHandler::onIteratorReady, count); }
void IteratorAccess::notifyUpdate(int kind) { forward(&IteratorHandler::onUpdate, kind); }
