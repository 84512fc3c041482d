#ifndef AIPQCTL_TABLE_READER_H
#define AIPQCTL_TABLE_READER_H

#include <string>
#include <vector>

namespace aipqctl {

using Rows = std::vector<std::vector<std::string>>;

// A table's rows, with its first `columns` columns, read by an iterator of the model. Failure if there is no
// such table, or if it does not answer.
Rows readTable(const std::string& key, std::size_t columns);

}  // namespace aipqctl

#endif
