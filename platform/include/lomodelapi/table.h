// Tables of the model and the iterators over them. A television's own header must offer these records and the
// iterator's operations.
#ifndef LOMODELAPI_TABLE_H
#define LOMODELAPI_TABLE_H

#include <string>

namespace lomodelapi {

// What kind of iterator is wanted.
struct IteratorType {
    int kind;       // 0, rows as they are now; 1, rows that follow the table's updates
    int chunkSize;  // the most rows in one answer to readRowChunk()
};

// Only rows whose `column` is `value`; several selections must all hold.
struct TableSelection {
    int column;
    std::string value;
};

// Rows ordered by `column`; of several, the first counts most.
struct TableOrder {
    int column;
    bool ascending;
};

// An iterator over a table. Every operation only asks: the answer arrives at the iterator's observer, on a
// thread of the model. A row number is from 0; -1 stands for no row. They return 0, or the model's status if
// they were refused, and then no answer arrives. Any thread.
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
    // A table owns its iterators; BizValue::releaseIterator gives one back.
    ~TableIterator() = default;
};

}  // namespace lomodelapi

#endif
