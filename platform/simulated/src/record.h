#ifndef SIMULATED_RECORD_H
#define SIMULATED_RECORD_H

#include <deque>
#include <utility>

#include "simulated/model.h"

namespace simulated {

// Appends a record of a client operation. The oldest record is dropped, because a television may be on for
// months.
template <typename T>
void record(std::deque<T>& records, T what) {
    if (records.size() == RECORDED) records.pop_front();
    records.push_back(std::move(what));
}

}  // namespace simulated

#endif
