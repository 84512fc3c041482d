#ifndef AIPQ_TELEVISION_PAGE_TOKEN_H
#define AIPQ_TELEVISION_PAGE_TOKEN_H

#include <string>

namespace television {

// The token of the page of the television `name`: it stays the same when the television starts again, so that
// an open page goes on. It is in a file beside the television's socket, which only this user can read. Throws
// std::runtime_error.
std::string pageToken(const std::string& name);

}  // namespace television

#endif
