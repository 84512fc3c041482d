#ifndef SIMULATED_ROW_SELECTION_H
#define SIMULATED_ROW_SELECTION_H

#include <vector>

#include "lomodelapi/table.h"
#include "simulated/model.h"

namespace simulated {

// Returns the rows of a table that match all selections, in the given orders, with the given columns only.
Rows selectRows(const Rows& table, const std::vector<lomodelapi::TableSelection>& selections,
                const std::vector<int>& columns, const std::vector<lomodelapi::TableOrder>& orders);

// Returns the position of the first row with this text in this column; -1 if there is none.
int findRow(const Rows& rows, int column, const std::string& text);

}  // namespace simulated

#endif
