#pragma once

#include <QWidget>

class Theme;

// A small figure with its icon and label: the counters above the task list and the statistics.
class StatCard final : public QWidget {
    Q_OBJECT

public:
    // valueColor is a role of the palette, so the card follows the theme.
    enum class ValueRole { primary, green, red, accent, teal };

    StatCard(Theme& theme, QString icon, QString label, ValueRole role, QWidget* parent = nullptr);

    void setValue(const QString& value);
    QString value() const { return m_value; }
    QString label() const { return m_label; }
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Theme& m_theme;
    QString m_icon;
    QString m_label;
    QString m_value = QStringLiteral("0");
    ValueRole m_role;
};
