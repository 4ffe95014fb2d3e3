#pragma once

#include <QString>

#include <exception>

// Thrown when an answer does not match the record it should carry. The message is Russian and names
// the place ("tasks[3].priority") and the fault; the request layer shows it after "Ошибка данных: ".
class DecodeError final : public std::exception {
public:
    explicit DecodeError(QString message);

    const QString& message() const { return m_message; }
    const char* what() const noexcept override { return m_utf8.constData(); }

private:
    QString m_message;
    QByteArray m_utf8;
};
