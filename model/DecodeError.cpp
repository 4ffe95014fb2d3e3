#include "DecodeError.h"

DecodeError::DecodeError(QString message)
    : m_message(std::move(message))
    , m_utf8(m_message.toUtf8()) {}
