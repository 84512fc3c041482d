#ifndef AIPQCTL_TABLE_READER_H
#define AIPQCTL_TABLE_READER_H

#include <string>
#include <vector>

namespace aipqctl {

using Rows = std::vector<std::vector<std::string>>;

// Reads the rows of a table, with its first `columns` columns, through an iterator of the model. Throws
// Failure if the table does not exist or does not answer.
Rows readTable(const std::string& key, std::size_t columns);

}  // namespace aipqctl

#endif
