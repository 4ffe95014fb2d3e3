#pragma once

#include <QPushButton>

// One place in the sidebar: an icon and a label. A label longer than the column is cut with "…" and
// shown whole as a tooltip, so no label ever widens the sidebar or pushes anything out of sight.
class SidebarButton final : public QPushButton {
    Q_OBJECT

public:
    SidebarButton(const QString& label, QWidget* parent = nullptr);

    QString label() const { return m_label; }
    bool isElided() const { return text() != m_label; }
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void resizeEvent(QResizeEvent* event) override;
    bool event(QEvent* event) override;

private:
    void elide();

    QString m_label;
};
