// An argument of an action, or an element of its result. A television's own header must offer the record.
#ifndef LOMODELAPI_ARGUMENT_H
#define LOMODELAPI_ARGUMENT_H

#include <cstdint>
#include <string>

namespace lomodelapi {

struct Argument {
    std::uint16_t type;      // 0
    std::uint16_t position;  // in the action's list of parameters, from 0
    std::string value;       // all values are text, numbers too
};

}  // namespace lomodelapi

#endif
