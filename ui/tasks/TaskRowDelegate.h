#pragma once

#include "Folder.h"
#include "VexoTask.h"

#include <QHash>
#include <QPointer>
#include <QStyledItemDelegate>
#include <QVariantAnimation>

#include <functional>

class Clock;
class QDateTime;

// True when the deadline is present, readable and earlier than now. Whether a task's status lets it
// look overdue is each screen's rule: the row asks for pending, the task page for not done.
bool isOverdue(const std::optional<QString>& deadline, const QDateTime& now);
class Theme;

// Paints one task row: check box, title, plain-text preview of the description, and the marker line
// (priority, deadline, folder, delivery markers). Rows are painted, not widgets, so long lists stay
// light. A press on the check box asks for a toggle; a click anywhere else asks to open the task.
// Everything comes through the model's roles: the task (TaskRole) and the search text whose matches
// the title shows highlighted (SearchTextRole).
class TaskRowDelegate final : public QStyledItemDelegate {
    Q_OBJECT

public:
    static constexpr int gap = 6;        // between rows
    static constexpr int sideInset = 16; // the list's padding

    TaskRowDelegate(Theme& theme, const Clock& clock, std::function<std::optional<Folder>(qint64)> folderLookup,
                    QObject* parent = nullptr);

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

    // The plain preview line of a task's description; empty when there is none to show.
    QString previewOf(const VexoTask& task) const;
    // Where the check box of a row painted in `rowRect` sits.
    static QRect checkBoxRect(const QRect& rowRect);
    // Where the title of a row painted in the list's `itemRect` sits, and whether a title is too
    // long for that width (it is then cut with "…" and shown whole as a tooltip).
    static QRect titleRect(const QRect& itemRect);
    static bool titleIsCut(const QString& title, int width);

Q_SIGNALS:
    void toggleRequested(const VexoTask& task);
    void selectRequested(const VexoTask& task);

protected:
    bool editorEvent(QEvent* event, QAbstractItemModel* model, const QStyleOptionViewItem& option,
                     const QModelIndex& index) override;
    bool helpEvent(QHelpEvent* event, QAbstractItemView* view, const QStyleOptionViewItem& option,
                   const QModelIndex& index) override;

private:
    Theme& m_theme;
    const Clock& m_clock;
    std::function<std::optional<Folder>(qint64)> m_folderLookup;
    QPersistentModelIndex m_pressedOnCheckBox;

    // The row under the pointer fades to the hover colour in 0.1 s, the one it left fades back.
    QColor rowFill(qint64 id, bool hovered, const QWidget* viewport) const;
    mutable qint64 m_hoverId = -1;
    mutable qint64 m_leavingId = -1;
    mutable QVariantAnimation m_hoverFade;
    mutable QPointer<QWidget> m_fadedViewport;
};
