#ifndef SIMULATED_RECORD_H
#define SIMULATED_RECORD_H

#include <deque>
#include <utility>

#include "simulated/model.h"

namespace simulated {

// Keeps what a client did, for whoever asks later. The oldest goes, as a television may be on for months.
template <typename T>
void record(std::deque<T>& records, T what) {
    if (records.size() == RECORDED) records.pop_front();
    records.push_back(std::move(what));
}

}  // namespace simulated

#endif
