#include "TransportError.h"

TransportError::TransportError(QNetworkReply::NetworkError code, QString description)
    : m_code(code)
    , m_description(std::move(description))
    , m_what(m_description.toUtf8()) {}
