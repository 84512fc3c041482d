#ifndef TELEVISION_HTTP_STATUS_H
#define TELEVISION_HTTP_STATUS_H

namespace television {

inline constexpr int NOT_MODIFIED = 304;
inline constexpr int BAD_REQUEST = 400;
inline constexpr int FORBIDDEN = 403;
inline constexpr int NOT_FOUND = 404;
inline constexpr int CONFLICT = 409;
inline constexpr int PAYLOAD_TOO_LARGE = 413;
inline constexpr int UNSUPPORTED_MEDIA_TYPE = 415;
inline constexpr int UNPROCESSABLE = 422;
inline constexpr int INTERNAL_ERROR = 500;
inline constexpr int UNAVAILABLE = 503;

}  // namespace television

#endif
