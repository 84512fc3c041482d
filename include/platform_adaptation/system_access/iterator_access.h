// An iterator over a table of the model.
#ifndef PLATFORM_ADAPTATION_SYSTEM_ACCESS_ITERATOR_ACCESS_H
#define PLATFORM_ADAPTATION_SYSTEM_ACCESS_ITERATOR_ACCESS_H

#include <memory>
#include <string>
#include <vector>

#include "lomodelapi/observer.h"
#include "lomodelapi/table.h"
#include "platform_adaptation/export.h"
#include "platform_adaptation/system_access/value_access_base.h"

class TableAccess;

// Receives an iterator's notifications, on the model's thread; the next one waits until the call returns.
// Arguments are valid during the call only. No virtual destructor: hold an implementation in a
// std::shared_ptr made from its own type.
class PLATFORM_ADAPTATION_API IteratorHandler {
  public:
    virtual void onCommit(int status) = 0;
    virtual void onTotalCount(int count) = 0;
    virtual void onSeekToRow(int row) = 0;
    virtual void onSeekToContent(int row) = 0;
    virtual void onCursorPosition(int row) = 0;
    virtual void onReadRow(const std::vector<std::string>& row) = 0;
    virtual void onReadRowChunk(const std::vector<const std::vector<std::string>*>& rows) = 0;
    virtual void onIteratorReady(int count) = 0;
    virtual void onUpdate(int kind) = 0;

  protected:
    ~IteratorHandler() = default;
};

// Only create() opens it; connect() and disconnect() do nothing. Replace the handler before create(), after
// destroy(), or inside one of its callbacks.
class PLATFORM_ADAPTATION_API IteratorAccess : public ValueAccessBase,
                                               public lomodelapi::ObserverTableIterator {
  public:
    // `name` is the table's key; `columns` are the columns to read. All arguments are copied. Does not
    // connect.
    IteratorAccess(std::string name, std::shared_ptr<IteratorHandler> handler,
                   const lomodelapi::IteratorType& type,
                   const std::vector<lomodelapi::TableSelection>& selection, const std::vector<int>& columns,
                   const std::vector<lomodelapi::TableOrder>& order);
    // Disconnects the table, which ends the iterator; the iterator is not released.
    ~IteratorAccess() override;

    // Do nothing and return 0.
    int connect(int timeoutMs) override;
    int disconnect() override;

    // Connects the table (blocking up to a second) and opens the iterator. Returns 0 even if the model
    // created no iterator: check getIterator(). Returns 4 if the table could not be connected; the accessor
    // is then unchanged. A second call opens a new iterator through a new connection. Call destroy() first,
    // because the old iterator is lost otherwise.
    virtual int create();
    // Releases the iterator, if there is one; the table stays connected. Returns 0.
    virtual int destroy();
    // Replaces the handler, empty for none; returns 0.
    virtual int setActionResultHandler(std::shared_ptr<IteratorHandler> handler);

    // The model calls these, on its thread. Each calls the handler's operation of the same name.
    void notifyCommit(int status) override;
    void notifyTotalCount(int count) override;
    void notifySeekToRow(int row) override;
    void notifySeekToContent(int row) override;
    void notifyCursorPosition(int row) override;
    void notifyReadRow(const std::vector<std::string>& row) override;
    void notifyReadRowChunk(const std::vector<const std::vector<std::string>*>& rows) override;
    void notifyIteratorReady(int count) override;
    void notifyUpdate(int kind) override;

    // The model's iterator, which serves requests for rows. Null before create(), after destroy(), and if the
    // model created none. It may still be null in a notification that arrives before create() returns.
    lomodelapi::TableIterator* getIterator() const;

  private:
    template <typename Argument, typename Parameter>
    PLATFORM_ADAPTATION_LOCAL void forward(void (IteratorHandler::*operation)(Parameter),
                                           const Argument& argument);

    std::shared_ptr<IteratorHandler> m_iteratorHandler;
    const lomodelapi::IteratorType m_type;
    const std::vector<lomodelapi::TableSelection> m_selection;
    const std::vector<int> m_columns;
    const std::vector<lomodelapi::TableOrder> m_order;
    lomodelapi::TableIterator* m_iterator;
    std::unique_ptr<TableAccess> m_table;
};

#endif
