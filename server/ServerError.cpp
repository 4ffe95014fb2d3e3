#include "ServerError.h"

int httpStatus(ErrorKind kind) {
    switch (kind) {
    case ErrorKind::badRequest:
        return 400;
    case ErrorKind::unauthorized:
        return 401;
    case ErrorKind::forbidden:
        return 403;
    case ErrorKind::notFound:
        return 404;
    case ErrorKind::methodNotAllowed:
        return 405;
    case ErrorKind::payloadTooLarge:
        return 413;
    case ErrorKind::tooManyRequests:
        return 429;
    case ErrorKind::internal:
        return 500;
    case ErrorKind::unavailable:
        return 503;
    }
    return 500;
}

ServerError::ServerError(ErrorKind kind, QString message)
    : m_kind(kind)
    , m_message(std::move(message))
    , m_utf8(m_message.toUtf8()) {}
