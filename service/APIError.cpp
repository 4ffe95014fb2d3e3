#include "APIError.h"

using namespace Qt::StringLiterals;

APIError::APIError(Kind kind, int statusCode, QString message)
    : m_kind(kind)
    , m_statusCode(statusCode)
    , m_message(std::move(message)) {
    m_what = errorDescription().toUtf8();
}

APIError APIError::httpError(int statusCode, QString message) {
    return APIError(Kind::httpError, statusCode, std::move(message));
}

APIError APIError::decodingError(QString decoderMessage) {
    return APIError(Kind::decodingError, 0, std::move(decoderMessage));
}

APIError APIError::invalidResponse() {
    return APIError(Kind::invalidResponse, 0, QString());
}

QString APIError::errorDescription() const {
    switch (m_kind) {
    case Kind::httpError:
        return m_message;
    case Kind::decodingError:
        return u"Ошибка данных: "_s + m_message;
    case Kind::invalidResponse:
        return u"Ошибка соединения"_s;
    }
    return {};
}
