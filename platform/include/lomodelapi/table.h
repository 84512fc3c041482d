// Tables of the model and the iterators over them. A television's own header must offer these records and the
// iterator's operations.
#ifndef LOMODELAPI_TABLE_H
#define LOMODELAPI_TABLE_H

#include <string>

namespace lomodelapi {

// The requested kind of iterator.
struct IteratorType {
    int kind;       // 0: the current rows; 1: rows that follow the table's updates
    int chunkSize;  // the most rows in one answer to readRowChunk()
};

// Selects rows whose `column` is `value`. If there are several selections, all must hold.
struct TableSelection {
    int column;
    std::string value;
};

// Orders rows by `column`. If there are several orders, the first has priority.
struct TableOrder {
    int column;
    bool ascending;
};

// An iterator over a table. Every operation is a request: its answer arrives at the iterator's observer, on a
// thread of the model. Row numbers start at 0; -1 means no row. Requests return 0. A refused request returns
// the model's status, and no answer arrives. Any thread.
class TableIterator {
  public:
    virtual int requestTotalCount() = 0;                                  // answer: notifyTotalCount
    virtual int requestCursorPosition() = 0;                              // answer: notifyCursorPosition
    virtual int seekToRow(int row) = 0;                                   // answer: notifySeekToRow
    virtual int seekToContent(int column, const std::string& value) = 0;  // answer: notifySeekToContent
    virtual int readRow() = 0;  // answer: notifyReadRow with the row at the cursor, or an empty one
    virtual int readRowChunk(int count) = 0;  // answer: notifyReadRowChunk with the rows from the cursor on
    virtual int commit() = 0;                 // answer: notifyCommit

  protected:
    // A table owns its iterators; BizValue::releaseIterator returns one.
    ~TableIterator() = default;
};

}  // namespace lomodelapi

#endif
