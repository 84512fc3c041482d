// A status that the library's accessors return.
#ifndef CONFORMANCE_ACCESSOR_STATUS_H
#define CONFORMANCE_ACCESSOR_STATUS_H

namespace conformance {

// The object is of another type.
constexpr int STATUS_WRONG_TYPE = 6;

}  // namespace conformance

#endif
