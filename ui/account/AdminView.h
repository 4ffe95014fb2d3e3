#pragma once

#include "AdminStats.h"
#include "AdminUser.h"

#include <QCoroTask>
#include <QWidget>

#include <optional>

class AppState;
class BusyIndicator;
class IconView;
class QLabel;
class QVBoxLayout;
class StatCard;
class Theme;

// Service-wide figures and the users, for administrators.
class AdminView final : public QWidget {
    Q_OBJECT

public:
    AdminView(AppState& state, Theme& theme, QWidget* parent = nullptr);

    // Asks for the figures and the users again; on appearing and on F5.
    QCoro::Task<void> load();
    bool isLoading() const { return m_loading; }
    QString errorText() const;
    // The warning sign beside the error line; shown with it.
    IconView* errorIcon() const { return m_errorIcon; }
    QStringList cardValues() const;
    QStringList userRows() const; // "name|username|count|admin"

protected:
    void showEvent(QShowEvent* event) override;

private:
    void refresh();

    AppState& m_state;
    Theme& m_theme;
    std::optional<AdminStats> m_stats;
    QList<AdminUser> m_users;
    bool m_loading = false;
    std::optional<QString> m_error;
    BusyIndicator* m_busy;
    QWidget* m_errorRow;
    IconView* m_errorIcon;
    QLabel* m_errorLabel;
    QList<StatCard*> m_cards;
    QVBoxLayout* m_rows;
    QStringList m_rowTexts;
};
