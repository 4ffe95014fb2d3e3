#pragma once

#include <QDateTime>
#include <QWidget>

#include <optional>

class LiveRefresh;
class QLabel;
class QPushButton;
class Theme;

// The quiet line under the list's header while the service has not answered background refreshes
// for a while: "Нет связи с сервисом · обновлено в 14:05", and "Повторить". Hidden otherwise.
class StaleNotice final : public QWidget {
    Q_OBJECT

public:
    StaleNotice(LiveRefresh& live, const Theme& theme, QWidget* parent = nullptr);

    // The line's text for the last successful refresh (local time), or without it when there was none.
    static QString message(const std::optional<QDateTime>& lastSuccess);
    QString text() const;
    QPushButton* retryButton() const { return m_retry; }

private:
    void follow();

    LiveRefresh& m_live;
    QLabel* m_text;
    QPushButton* m_retry;
};
