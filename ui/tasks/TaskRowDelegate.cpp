#include "TaskRowDelegate.h"

#include "Clock.h"
#include "ColorHex.h"
#include "EmojiText.h"
#include "Fonts.h"
#include "HtmlText.h"
#include "Icons.h"
#include "ServerDate.h"
#include "TaskListModel.h"
#include "TaskSearch.h"
#include "Theme.h"

#include <QAbstractItemView>
#include <QAbstractScrollArea>
#include <QHelpEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPointer>
#include <QToolTip>

namespace {

constexpr int padX = 16;
constexpr int padY = 10;
constexpr int titleHeight = 18;
constexpr int previewHeight = 16;
constexpr int markerHeight = 15;
constexpr int lineGap = 4;
constexpr int checkSize = 18;
constexpr int textLeft = padX + checkSize + 12;

// Rows read their task through the model's roles, so any proxy may stand between list and view.
VexoTask taskOf(const QModelIndex& index) {
    return index.data(TaskListModel::TaskRole).value<VexoTask>();
}

QRect rowRectOf(const QRect& itemRect) {
    return itemRect.adjusted(TaskRowDelegate::sideInset, 0, -TaskRowDelegate::sideInset, -TaskRowDelegate::gap);
}

} // namespace

QColor mixed(const QColor& from, const QColor& to, qreal t) {
    return QColor::fromRgbF(from.redF() + (to.redF() - from.redF()) * t,
                            from.greenF() + (to.greenF() - from.greenF()) * t,
                            from.blueF() + (to.blueF() - from.blueF()) * t);
}

bool isOverdue(const std::optional<QString>& deadline, const QDateTime& now) {
    if (!deadline || deadline->isEmpty())
        return false;
    const auto moment = parseServerDate(*deadline);
    return moment && *moment < now;
}

TaskRowDelegate::TaskRowDelegate(Theme& theme, const Clock& clock,
                                 std::function<std::optional<Folder>(qint64)> folderLookup, QObject* parent)
    : QStyledItemDelegate(parent)
    , m_theme(theme)
    , m_clock(clock)
    , m_folderLookup(std::move(folderLookup)) {
    m_hoverFade.setDuration(100);
    m_hoverFade.setEasingCurve(QEasingCurve::OutCubic);
    connect(&m_hoverFade, &QVariantAnimation::valueChanged, this, [this] {
        if (m_fadedViewport)
            m_fadedViewport->update();
    });
}

QString TaskRowDelegate::previewOf(const VexoTask& task) const {
    if (!task.description || task.description->isEmpty())
        return QString();
    return stripHTML(*task.description);
}

QRect TaskRowDelegate::checkBoxRect(const QRect& rowRect) {
    return QRect(rowRect.left() + padX, rowRect.top() + padY + 2, checkSize, checkSize);
}

QSize TaskRowDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const {
    // Asked of every row: the model knows whether a row has a preview line without reading its text.
    const bool preview = index.data(TaskListModel::HasPreviewRole).toBool();
    const int height =
        padY + titleHeight + lineGap + (preview ? previewHeight + lineGap : 0) + markerHeight + padY + gap;
    // The list gives every row its full width; asking for none keeps a horizontal scroll bar away.
    Q_UNUSED(option);
    return {1, height};
}

void TaskRowDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const {
    const Palette& p = m_theme.palette();
    const VexoTask task = taskOf(index);
    const QRect row = rowRectOf(option.rect);
    const qreal dpr = painter->device()->devicePixelRatioF();
    const bool hovered = option.state & QStyle::State_MouseOver;
    const bool done = task.status == TaskStatus::done;

    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    QPainterPath frame;
    frame.addRoundedRect(QRectF(row).adjusted(0.5, 0.5, -0.5, -0.5), 10, 10);
    painter->fillPath(frame, rowFill(task.id, hovered, option.widget));
    painter->setPen(QPen(p.border, 1));
    painter->drawPath(frame);
    // The current row of a focused list, once the keyboard is in use: a ring along the row's edge
    // (inside it, so the row's own repaint always redraws it whole).
    if ((option.state & QStyle::State_HasFocus) && option.widget &&
        option.widget->window()->testAttribute(Qt::WA_KeyboardFocusChange)) {
        QPainterPath ring;
        ring.addRoundedRect(QRectF(row).adjusted(1, 1, -1, -1), 9, 9);
        painter->setPen(QPen(p.accent, 2));
        painter->drawPath(ring);
    }

    // Check box
    const QRectF box = QRectF(checkBoxRect(row)).adjusted(0.75, 0.75, -0.75, -0.75);
    QPainterPath boxShape;
    boxShape.addRoundedRect(box, 5, 5);
    if (done) {
        QColor fill = p.green;
        fill.setAlphaF(0.15);
        painter->fillPath(boxShape, fill);
        painter->setPen(QPen(p.green, 1.5));
        painter->drawPath(boxShape);
        painter->drawPixmap(QPointF(box.center().x() - 6, box.center().y() - 6),
                            Icons::pixmap(QStringLiteral("checkmark"), 12, p.green, dpr));
    } else {
        painter->setPen(QPen(p.border, 1.5));
        painter->drawPath(boxShape);
    }

    // Title
    const int textWidth = row.width() - textLeft - padX;
    int y = row.top() + padY;
    QFont titleFont = uiFont(14, QFont::Medium);
    titleFont.setStrikeOut(done);
    painter->setFont(titleFont);
    const QString shownTitle = EmojiText::elided(task.title, titleFont, textWidth);
    const QRect titleRect(row.left() + textLeft, y, textWidth, titleHeight);
    // Every match of the search in the visible part of the title, on an accent tint.
    const QString query = index.data(TaskListModel::SearchTextRole).toString();
    if (!query.isEmpty()) {
        const qsizetype visible = shownTitle == task.title ? task.title.size() : shownTitle.size() - 1;
        QColor tint = p.accent;
        tint.setAlphaF(p.dark ? 0.38 : 0.24);
        for (const auto& [start, length] : TaskSearch::matches(task.title, query)) {
            if (start >= visible)
                break;
            const qsizetype end = qMin(start + length, visible);
            const qreal left = EmojiText::width(task.title.left(start), titleFont);
            const qreal width = EmojiText::width(task.title.mid(start, end - start), titleFont);
            QPainterPath mark;
            mark.addRoundedRect(QRectF(titleRect.left() + left - 1, titleRect.top(), width + 2, titleRect.height()), 3,
                                3);
            painter->fillPath(mark, tint);
        }
    }
    painter->setPen(done ? p.textTertiary : p.textPrimary);
    // Drawn as the title is measured above: emoji in colour, cut with "…" where it does not fit.
    EmojiText::draw(*painter, titleRect, Qt::AlignLeft | Qt::AlignVCenter, task.title);
    y += titleHeight + lineGap;

    // Description preview
    const QString preview = previewOf(task);
    if (!preview.isEmpty()) {
        painter->setFont(uiFont(12));
        painter->setPen(p.textTertiary);
        QString oneLine = preview;
        oneLine.replace(u'\n', u' ');
        EmojiText::draw(*painter, QRect(row.left() + textLeft, y, textWidth, previewHeight),
                        Qt::AlignLeft | Qt::AlignVCenter, oneLine);
        y += previewHeight + lineGap;
    }

    // Marker line
    int x = row.left() + textLeft;
    const int right = row.right() - padX;
    const QRect line(x, y, textWidth, markerHeight);
    const auto drawText = [&](const QString& text, const QColor& colour, const QFont& font) {
        painter->setFont(font);
        painter->setPen(colour);
        const int width = painter->fontMetrics().horizontalAdvance(text);
        painter->drawText(QRect(x, line.top(), qMax(0, qMin(width, right - x)), markerHeight),
                          Qt::AlignLeft | Qt::AlignVCenter, text);
        x += width;
    };
    const auto drawIcon = [&](const QString& name, int size, const QColor& colour) {
        if (x + size > right)
            return;
        painter->drawPixmap(QPointF(x, line.center().y() - size / 2.0 + 0.5), Icons::pixmap(name, size, colour, dpr));
        x += size;
    };
    drawText(priorityWord(task.priority), p.priorityColor(task.priority), uiFont(11));
    if (task.deadline && !task.deadline->isEmpty()) {
        x += 10;
        const bool overdue = task.status == TaskStatus::pending && isOverdue(task.deadline, m_clock.now());
        const QColor colour = overdue ? p.red : p.textTertiary;
        drawIcon(overdue ? QStringLiteral("exclamationmark.clock") : QStringLiteral("clock"), 10, colour);
        x += 4;
        drawText(formatDeadline(task.deadline), colour, uiFont(11));
    }
    if (task.folderId && m_folderLookup) {
        if (const auto folder = m_folderLookup(*task.folderId)) {
            x += 10;
            drawIcon(QStringLiteral("folder"), 10, colorFromHex(folder->color));
            x += 4;
            drawText(folder->name, p.textTertiary, uiFont(11));
        }
    }
    if (task.isSentToBot()) {
        x += 10;
        QColor teal = p.teal;
        teal.setAlphaF(0.7);
        drawIcon(QStringLiteral("paperplane.fill"), 9, teal);
    }
    if (task.source == QStringLiteral("bot")) {
        x += 8;
        drawIcon(QStringLiteral("bubble.left.fill"), 9, p.textTertiary);
    }
    painter->restore();
}

QColor TaskRowDelegate::rowFill(qint64 id, bool hovered, const QWidget* viewport) const {
    const Palette& p = m_theme.palette();
    // The pointer moved onto another row, or off the rows: the new row fades in, the old one out.
    if ((hovered && id != m_hoverId) || (!hovered && id == m_hoverId)) {
        m_leavingId = m_hoverId;
        m_hoverId = hovered ? id : -1;
        m_hoverFade.stop();
        m_hoverFade.setStartValue(0.0);
        m_hoverFade.setEndValue(1.0);
        m_hoverFade.start();
        if (const auto* view = qobject_cast<const QAbstractScrollArea*>(viewport))
            m_fadedViewport = view->viewport();
    }
    const qreal t = m_hoverFade.state() == QAbstractAnimation::Running ? m_hoverFade.currentValue().toReal() : 1.0;
    if (id == m_hoverId)
        return mixed(p.raised, p.raisedHover, t);
    if (id == m_leavingId)
        return mixed(p.raisedHover, p.raised, t);
    return p.raised;
}

QRect TaskRowDelegate::titleRect(const QRect& itemRect) {
    const QRect row = rowRectOf(itemRect);
    return QRect(row.left() + textLeft, row.top() + padY, row.width() - textLeft - padX, titleHeight);
}

bool TaskRowDelegate::titleIsCut(const QString& title, int width) {
    return EmojiText::elided(title, uiFont(14, QFont::Medium), width) != title;
}

bool TaskRowDelegate::helpEvent(QHelpEvent* event, QAbstractItemView* view, const QStyleOptionViewItem& option,
                                const QModelIndex& index) {
    if (event->type() != QEvent::ToolTip || !index.isValid())
        return QStyledItemDelegate::helpEvent(event, view, option, index);
    // A title the row had to cut shows whole.
    const QString title = taskOf(index).title;
    if (titleIsCut(title, titleRect(option.rect).width()))
        QToolTip::showText(event->globalPos(), title, view->viewport(), option.rect);
    else
        QToolTip::hideText();
    return true;
}

bool TaskRowDelegate::editorEvent(QEvent* event, QAbstractItemModel*, const QStyleOptionViewItem& option,
                                  const QModelIndex& index) {
    if (event->type() != QEvent::MouseButtonPress && event->type() != QEvent::MouseButtonRelease)
        return false;
    const auto* mouse = static_cast<QMouseEvent*>(event);
    if (mouse->button() != Qt::LeftButton)
        return false;
    const QRect row = rowRectOf(option.rect);
    const bool onCheckBox = checkBoxRect(row).adjusted(-4, -4, 4, 4).contains(mouse->position().toPoint());
    if (event->type() == QEvent::MouseButtonPress) {
        m_pressedOnCheckBox = onCheckBox ? QPersistentModelIndex(index) : QPersistentModelIndex();
        return onCheckBox;
    }
    const bool wasOnCheckBox = m_pressedOnCheckBox.isValid() && m_pressedOnCheckBox == index;
    m_pressedOnCheckBox = QPersistentModelIndex();
    if (wasOnCheckBox && onCheckBox) {
        Q_EMIT toggleRequested(taskOf(index));
        return true;
    }
    if (!wasOnCheckBox && row.contains(mouse->position().toPoint()))
        Q_EMIT selectRequested(taskOf(index));
    return false;
}
