#include "row_selection.h"

#include <algorithm>
#include <string>
#include <utility>

using namespace lomodelapi;

namespace simulated {

namespace {

bool hasCell(const std::vector<std::string>& row, int column) {
    return column >= 0 && static_cast<std::size_t>(column) < row.size();
}

// Returns an empty text if the row does not have the column.
const std::string& cell(const std::vector<std::string>& row, int column) {
    static const std::string nothing;
    return hasCell(row, column) ? row[static_cast<std::size_t>(column)] : nothing;
}

}  // namespace

Rows selectRows(const Rows& table, const std::vector<TableSelection>& selections,
                const std::vector<int>& columns, const std::vector<TableOrder>& orders) {
    Rows rows;
    for (const auto& row : table) {
        const auto holds = [&](const TableSelection& selection) {
            return cell(row, selection.column) == selection.value;
        };
        if (std::all_of(selections.begin(), selections.end(), holds)) rows.push_back(row);
    }
    std::stable_sort(rows.begin(), rows.end(), [&](const auto& a, const auto& b) {
        for (const TableOrder& order : orders) {
            const int difference = cell(a, order.column).compare(cell(b, order.column));
            if (difference != 0) return order.ascending ? difference < 0 : difference > 0;
        }
        return false;
    });
    for (auto& row : rows) {
        std::vector<std::string> wanted;
        for (const int column : columns) wanted.push_back(cell(row, column));
        row = std::move(wanted);
    }
    return rows;
}

int findRow(const Rows& rows, int column, const std::string& text) {
    const auto matches = [&](const auto& row) { return hasCell(row, column) && cell(row, column) == text; };
    const auto found = std::find_if(rows.begin(), rows.end(), matches);
    return found != rows.end() ? static_cast<int>(found - rows.begin()) : -1;
}

}  // namespace simulated
