#ifndef AIPQ_TELEVISION_PAGE_TOKEN_H
#define AIPQ_TELEVISION_PAGE_TOKEN_H

#include <string>

namespace television {

// Returns the access token of the page of the television `name`. The token does not change when the
// television restarts, so an open page reconnects. It is stored in a file beside the television's socket that
// only this user can read. Throws std::runtime_error.
std::string pageToken(const std::string& name);

}  // namespace television

#endif
