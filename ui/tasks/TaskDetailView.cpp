#include "TaskDetailView.h"

#include "TaskRowDelegate.h"

#include "AppState.h"
#include "BusyIndicator.h"
#include "Fonts.h"
#include "HTMLTextView.h"
#include "Icons.h"
#include "ServerDate.h"
#include "Theme.h"
#include "VexoButton.h"
#include "VexoCard.h"

#include <QDialog>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPainter>
#include <QPainterPath>
#include <QPointer>
#include <QScrollArea>
#include <QToolButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr QSize thumbSize(100, 80);

QPixmap rounded(const QPixmap& image, qreal dpr) {
    QPixmap out(thumbSize * dpr);
    out.setDevicePixelRatio(dpr);
    out.fill(Qt::transparent);
    QPainter painter(&out);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    QPainterPath clip;
    clip.addRoundedRect(QRectF(QPointF(), QSizeF(thumbSize)), 8, 8);
    painter.setClipPath(clip);
    // Fill the frame, cropping what overflows.
    const QSizeF scaled = QSizeF(image.size()).scaled(QSizeF(thumbSize), Qt::KeepAspectRatioByExpanding);
    painter.drawPixmap(
        QRectF(QPointF((thumbSize.width() - scaled.width()) / 2, (thumbSize.height() - scaled.height()) / 2), scaled),
        image, QRectF(image.rect()));
    return out;
}

// The enlarged picture: arrow keys step through the pictures, Esc closes.
class Lightbox final : public QDialog {
public:
    Lightbox(QList<QPixmap> images, int index, QWidget* parent)
        : QDialog(parent)
        , m_images(std::move(images))
        , m_index(index) {
        setWindowTitle(u"Вложение"_s);
        setModal(true);
        auto* layout = new QVBoxLayout(this);
        m_label = new QLabel(this);
        m_label->setAlignment(Qt::AlignCenter);
        m_label->setMinimumSize(480, 360);
        layout->addWidget(m_label);
        show(m_index);
        resize(900, 640);
    }

protected:
    void keyPressEvent(QKeyEvent* event) override {
        if (event->key() == Qt::Key_Right && m_index + 1 < m_images.size())
            show(m_index + 1);
        else if (event->key() == Qt::Key_Left && m_index > 0)
            show(m_index - 1);
        else
            QDialog::keyPressEvent(event);
    }
    void resizeEvent(QResizeEvent* event) override {
        QDialog::resizeEvent(event);
        show(m_index);
    }

private:
    void show(int index) {
        m_index = index;
        const QPixmap& image = m_images.value(index);
        if (!image.isNull())
            m_label->setPixmap(
                image.scaled(m_label->size() * devicePixelRatioF(), Qt::KeepAspectRatio, Qt::SmoothTransformation));
        setWindowTitle(u"Вложение %1 из %2"_s.arg(index + 1).arg(m_images.size()));
    }

    QList<QPixmap> m_images;
    int m_index;
    QLabel* m_label;
};

} // namespace

TaskDetailView::TaskDetailView(AppState& state, Theme& theme, QNetworkAccessManager& network, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
    , m_theme(theme)
    , m_network(network) {
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->setSpacing(0);
    m_header = new QWidget(this);
    m_header->setAttribute(Qt::WA_StyledBackground);
    m_header->setObjectName(u"detailHeader"_s);
    auto* headerLayout = new QHBoxLayout(m_header);
    headerLayout->setContentsMargins(24, 16, 24, 16);
    m_back = new VexoButton(theme, VexoButton::Kind::ghost, u"К задачам"_s, m_header);
    m_back->setIconName(u"chevron.left"_s);
    connect(m_back, &QPushButton::clicked, this, [this] { m_state.setSelectedTask(std::nullopt); });
    headerLayout->addWidget(m_back);
    headerLayout->addStretch();
    outer->addWidget(m_header);

    auto* scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    auto* page = new QWidget(scroll);
    page->setObjectName(u"detailPage"_s);
    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(24, 20, 24, 24);
    layout->setSpacing(12);
    m_title = new QLabel(page);
    m_title->setWordWrap(true);
    m_title->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout->addWidget(m_title);
    m_badges = new QHBoxLayout;
    m_badges->setSpacing(6);
    layout->addLayout(m_badges);

    auto* columns = new QHBoxLayout;
    columns->setSpacing(20);
    auto* main = new QVBoxLayout;
    main->setSpacing(10);
    m_descriptionCaption = new QToolButton(page);
    m_descriptionCaption->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    m_descriptionCaption->setAttribute(Qt::WA_TransparentForMouseEvents);
    main->addWidget(m_descriptionCaption);
    m_description = new HTMLTextView(theme, page);
    main->addWidget(m_description);
    main->addSpacing(10);
    auto* attachmentsHeader = new QHBoxLayout;
    m_attachmentsCaption = new QToolButton(page);
    m_attachmentsCaption->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    m_attachmentsCaption->setAttribute(Qt::WA_TransparentForMouseEvents);
    attachmentsHeader->addWidget(m_attachmentsCaption);
    m_attachmentsBusy = new BusyIndicator(theme, 14, page);
    attachmentsHeader->addWidget(m_attachmentsBusy);
    attachmentsHeader->addStretch();
    main->addLayout(attachmentsHeader);
    m_noAttachments = new QLabel(page);
    main->addWidget(m_noAttachments);
    m_thumbnails = new QListWidget(page);
    m_thumbnails->setViewMode(QListView::IconMode);
    m_thumbnails->setIconSize(thumbSize);
    m_thumbnails->setGridSize(thumbSize + QSize(10, 10));
    m_thumbnails->setResizeMode(QListView::Adjust);
    m_thumbnails->setMovement(QListView::Static);
    m_thumbnails->setSelectionMode(QAbstractItemView::NoSelection);
    m_thumbnails->setContextMenuPolicy(Qt::CustomContextMenu);
    m_thumbnails->setMinimumHeight(thumbSize.height() + 14);
    m_thumbnails->setAccessibleName(u"Вложения"_s);
    connect(m_thumbnails, &QListWidget::itemClicked, this,
            [this](QListWidgetItem* item) { openLightbox(m_thumbnails->row(item)); });
    connect(m_thumbnails, &QListWidget::customContextMenuRequested, this, [this](const QPoint& at) {
        QListWidgetItem* item = m_thumbnails->itemAt(at);
        if (!item)
            return;
        const TaskAttachment attachment = m_attachments.value(m_thumbnails->row(item));
        auto* menu = new QMenu(this);
        menu->setAttribute(Qt::WA_DeleteOnClose);
        menu->addAction(Icons::icon(u"trash"_s, m_theme.palette().red), u"Удалить"_s, this,
                        [this, attachment] { deleteAttachment(attachment); });
        menu->popup(m_thumbnails->viewport()->mapToGlobal(at));
    });
    main->addWidget(m_thumbnails);
    main->addStretch();
    columns->addLayout(main, 1);

    auto* divider = new QWidget(page);
    divider->setFixedWidth(1);
    divider->setObjectName(u"detailDivider"_s);
    columns->addWidget(divider);

    auto* side = new QWidget(page);
    side->setFixedWidth(260);
    auto* sideLayout = new QVBoxLayout(side);
    sideLayout->setContentsMargins(0, 0, 0, 0);
    sideLayout->setSpacing(12);
    auto* card = new VexoCard(theme, side);
    m_metadata = new QGridLayout(card);
    m_metadata->setContentsMargins(14, 12, 14, 12);
    m_metadata->setHorizontalSpacing(8);
    m_metadata->setVerticalSpacing(9);
    m_metadata->setColumnStretch(2, 1);
    sideLayout->addWidget(card);
    m_actions = new QVBoxLayout;
    m_actions->setSpacing(6);
    sideLayout->addLayout(m_actions);
    sideLayout->addStretch();
    columns->addWidget(side, 0, Qt::AlignTop);
    layout->addLayout(columns, 1);
    scroll->setWidget(page);
    outer->addWidget(scroll, 1);

    // The state's copy of the task is the truth: edits, toggles and sends show here at once.
    connect(&m_state, &AppState::selectedTaskChanged, this, [this] {
        if (m_state.selectedTask())
            showTask(*m_state.selectedTask());
    });
    connect(&m_state, &AppState::tasksChanged, this, [this] {
        if (!m_task)
            return;
        for (const VexoTask& each : m_state.tasks()) {
            if (each.id == m_task->id && !(each == *m_task)) {
                m_task = each;
                rebuild();
            }
        }
    });
    connect(&m_theme, &Theme::changed, this, &TaskDetailView::rebuild);
}

QString TaskDetailView::sourceLabel(const QString& source) {
    if (source == u"bot")
        return u"Telegram бот"_s;
    if (source == u"api")
        return u"API"_s;
    return u"Веб"_s;
}

void TaskDetailView::showTask(const VexoTask& task) {
    const bool another = !m_task || m_task->id != task.id;
    m_task = task;
    rebuild();
    if (another) {
        m_attachments.clear();
        rebuildAttachments();
        (void)loadAttachments(task.id, ++m_generation);
    }
}

QCoro::Task<void> TaskDetailView::loadAttachments(qint64 taskId, int generation) {
    QPointer<TaskDetailView> self(this);
    m_loadingAttachments = true;
    rebuildAttachments();
    std::optional<AttachmentsResponse> answer;
    try {
        answer = co_await m_state.api().fetchAttachments(taskId);
    } catch (...) {
        answer.reset();
    }
    // An answer for a task no longer shown is dropped.
    if (!self || generation != m_generation)
        co_return;
    m_loadingAttachments = false;
    m_attachments = answer ? answer->attachments : QList<TaskAttachment>();
    rebuildAttachments();
}

void TaskDetailView::deleteAttachment(const TaskAttachment& attachment) {
    if (m_task)
        (void)removeAttachment(m_task->id, attachment);
}

QCoro::Task<void> TaskDetailView::removeAttachment(qint64 taskId, TaskAttachment attachment) {
    QPointer<TaskDetailView> self(this);
    try {
        co_await m_state.api().deleteAttachment(taskId, attachment.id);
    } catch (...) {
        if (self)
            m_state.showToast(u"Ошибка удаления"_s);
        co_return;
    }
    if (!self || !m_task || m_task->id != taskId)
        co_return;
    m_attachments.removeIf([&](const TaskAttachment& each) { return each.id == attachment.id; });
    rebuildAttachments();
}

void TaskDetailView::loadThumbnail(const TaskAttachment& attachment) {
    const QUrl url = m_state.api().attachmentFileURL(m_task->id, attachment.id);
    if (m_images.contains(url))
        return;
    QNetworkRequest request(url);
    // The local service serves files to their owner only, so the picture request carries the token.
    if (m_state.token())
        request.setRawHeader("Authorization", "Bearer " + m_state.token()->toUtf8());
    if (m_pendingImages.contains(url) || m_failedImages.contains(url))
        return;
    m_pendingImages.insert(url);
    QNetworkReply* reply = m_network.get(request);
    connect(reply, &QNetworkReply::finished, this, [this, reply, url] {
        reply->deleteLater();
        m_pendingImages.remove(url);
        QPixmap image;
        if (reply->error() != QNetworkReply::NoError || !image.loadFromData(reply->readAll())) {
            // The tile stays, without its spinner, and the picture is not asked for again.
            m_failedImages.insert(url);
            rebuildAttachments();
            return;
        }
        m_images.insert(url, image);
        rebuildAttachments();
    });
}

void TaskDetailView::openLightbox(int index) {
    if (!m_task || index < 0 || index >= m_attachments.size())
        return;
    QList<QPixmap> images;
    for (const TaskAttachment& attachment : std::as_const(m_attachments))
        images << m_images.value(m_state.api().attachmentFileURL(m_task->id, attachment.id));
    auto* box = new Lightbox(images, index, window());
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}

bool TaskDetailView::showsNoAttachments() const {
    return !m_noAttachments->isHidden();
}

void TaskDetailView::rebuildAttachments() {
    const Palette& p = m_theme.palette();
    m_attachmentsBusy->setVisible(m_loadingAttachments);
    m_noAttachments->setVisible(!m_loadingAttachments && m_attachments.isEmpty());
    m_thumbnails->setVisible(!m_attachments.isEmpty());
    m_thumbnails->clear();
    if (!m_task)
        return;
    const qreal dpr = devicePixelRatioF();
    for (const TaskAttachment& attachment : std::as_const(m_attachments)) {
        const QUrl url = m_state.api().attachmentFileURL(m_task->id, attachment.id);
        QPixmap face;
        if (m_images.contains(url)) {
            face = rounded(m_images.value(url), dpr);
        } else {
            // Loading (or not a picture): the file's kind on a plain tile.
            face = QPixmap(thumbSize * dpr);
            face.setDevicePixelRatio(dpr);
            face.fill(Qt::transparent);
            QPainter painter(&face);
            painter.setRenderHint(QPainter::Antialiasing);
            painter.setPen(Qt::NoPen);
            painter.setBrush(p.raisedHover);
            painter.drawRoundedRect(QRectF(QPointF(), QSizeF(thumbSize)), 8, 8);
            painter.drawPixmap(QPointF(40, 22), Icons::pixmap(u"photo"_s, 20, p.textTertiary, dpr));
            painter.setPen(p.textTertiary);
            painter.setFont(uiFont(10));
            painter.drawText(QRectF(6, 48, 88, 24), Qt::AlignCenter,
                             painter.fontMetrics().elidedText(attachment.filename, Qt::ElideMiddle, 88));
            if (attachment.mimetype.startsWith(u"image/"_s))
                loadThumbnail(attachment);
        }
        auto* item = new QListWidgetItem(QIcon(face), QString(), m_thumbnails);
        item->setToolTip(attachment.filename);
        item->setData(Qt::AccessibleTextRole, attachment.filename);
        item->setSizeHint(thumbSize + QSize(10, 10));
        if (m_pendingImages.contains(url)) {
            // A small spinner over the tile while its picture is on the way.
            auto* holder = new QWidget(m_thumbnails);
            holder->setAttribute(Qt::WA_TransparentForMouseEvents);
            auto* centre = new QVBoxLayout(holder);
            centre->setContentsMargins(0, 0, 0, 24);
            centre->addWidget(new BusyIndicator(m_theme, 16, holder), 0, Qt::AlignCenter);
            m_thumbnails->setItemWidget(item, holder);
        }
    }
}

QString TaskDetailView::titleText() const {
    return m_title->text();
}

QStringList TaskDetailView::badgeTexts() const {
    return m_badgeTexts;
}

QStringList TaskDetailView::metadataRows() const {
    return m_metadataTexts;
}

QStringList TaskDetailView::actionTexts() const {
    QStringList texts;
    for (VexoButton* button : m_actionButtons)
        texts << button->text();
    return texts;
}

VexoButton* TaskDetailView::actionButton(const QString& text) const {
    for (VexoButton* button : m_actionButtons) {
        if (button->text() == text)
            return button;
    }
    return nullptr;
}

void TaskDetailView::clearLayout(QLayout* layout) {
    while (QLayoutItem* item = layout->takeAt(0)) {
        if (QWidget* widget = item->widget()) {
            widget->hide();
            widget->deleteLater();
        }
        delete item;
    }
}

void TaskDetailView::rebuild() {
    if (!m_task)
        return;
    const VexoTask& task = *m_task;
    const Palette& p = m_theme.palette();
    const qreal dpr = devicePixelRatioF();
    const bool done = task.status == TaskStatus::done;

    m_header->setStyleSheet(
        u"QWidget#detailHeader { background: qlineargradient(x1:0, y1:0, x2:0, y2:1, stop:0 %1, stop:1 %2);"
        u" border-bottom: 1px solid %3; }"_s.arg(p.panel.name(), p.background.name(), p.border.name(QColor::HexArgb)));
    if (auto* divider = findChild<QWidget*>(u"detailDivider"_s))
        divider->setStyleSheet(u"background: %1;"_s.arg(p.border.name(QColor::HexArgb)));
    QFont titleFont = uiFont(22, QFont::Bold);
    titleFont.setStrikeOut(done);
    m_title->setFont(titleFont);
    m_title->setText(task.title);
    m_title->setStyleSheet(u"color: %1;"_s.arg(done ? p.textSecondary.name() : p.textPrimary.name()));

    clearLayout(m_badges);
    m_badgeTexts.clear();
    const auto badge = [&](const QString& text, const QString& icon, const QColor& colour) {
        auto* label = new QLabel(this);
        QColor ground = colour;
        ground.setAlphaF(0.12);
        label->setText(text);
        label->setFont(uiFont(11, QFont::Medium));
        label->setStyleSheet(u"color: %1; background: %2; border-radius: 8px; padding: 3px 8px;"_s.arg(
            colour.name(), ground.name(QColor::HexArgb)));
        if (!icon.isEmpty()) {
            auto* row = new QWidget(this);
            auto* rowLayout = new QHBoxLayout(row);
            rowLayout->setContentsMargins(8, 3, 8, 3);
            rowLayout->setSpacing(4);
            row->setStyleSheet(u"background: %1; border-radius: 8px;"_s.arg(ground.name(QColor::HexArgb)));
            auto* iconLabel = new QLabel(row);
            iconLabel->setPixmap(Icons::pixmap(icon, 11, colour, dpr));
            label->setStyleSheet(u"color: %1; background: transparent;"_s.arg(colour.name()));
            label->setParent(row);
            rowLayout->addWidget(iconLabel);
            rowLayout->addWidget(label);
            m_badges->addWidget(row);
        } else {
            m_badges->addWidget(label);
        }
        m_badgeTexts << text;
    };
    badge(priorityWord(task.priority), QString(), p.priorityColor(task.priority));
    if (task.isSentToBot())
        badge(u"В Telegram"_s, u"paperplane.fill"_s, p.teal);
    if (task.source == u"bot")
        badge(u"Из бота"_s, u"bubble.left.fill"_s, p.textTertiary);
    if (task.isArchived())
        badge(u"Архив"_s, u"archivebox"_s, p.textSecondary);
    m_badges->addStretch();

    const auto caption = [&](QToolButton* label, const QString& icon, const QString& text) {
        label->setText(text);
        label->setIcon(Icons::icon(icon, p.textSecondary));
        label->setIconSize(QSize(13, 13));
        label->setFont(uiFont(13, QFont::DemiBold));
        label->setStyleSheet(u"QToolButton { color: %1; background: transparent; border: none; padding: 0; }"_s.arg(
            p.textPrimary.name()));
    };
    caption(m_descriptionCaption, u"text.alignleft"_s, u"Описание"_s);
    caption(m_attachmentsCaption, u"photo"_s, u"Вложения"_s);
    m_description->setHtmlDescription(task.description.value_or(QString()));
    m_noAttachments->setText(u"Нет вложений"_s);
    m_noAttachments->setFont(uiFont(12));
    m_noAttachments->setStyleSheet(u"color: %1;"_s.arg(p.textSecondary.name()));
    m_thumbnails->setStyleSheet(u"QListWidget { background: transparent; border: none; }"_s);

    clearLayout(m_metadata);
    m_metadataTexts.clear();
    int row = 0;
    const auto metaRow = [&](const QString& icon, const QString& label, const QString& value, const QColor& colour,
                             const QString& valueIcon = QString(), const QColor& valueIconColour = QColor()) {
        auto* iconLabel = new QLabel(this);
        iconLabel->setFixedWidth(16);
        iconLabel->setPixmap(Icons::pixmap(icon, 11, p.textTertiary, dpr));
        auto* name = new QLabel(label, this);
        name->setFont(uiFont(12));
        name->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Preferred);
        name->setStyleSheet(u"color: %1;"_s.arg(p.textSecondary.name()));
        auto* valueBox = new QWidget(this);
        auto* valueLayout = new QHBoxLayout(valueBox);
        valueLayout->setContentsMargins(0, 0, 0, 0);
        valueLayout->setSpacing(4);
        valueLayout->addStretch();
        if (!valueIcon.isEmpty()) {
            auto* glyph = new QLabel(valueBox);
            glyph->setPixmap(Icons::pixmap(valueIcon, 13, valueIconColour, dpr));
            valueLayout->addWidget(glyph);
        }
        auto* text = new QLabel(value, valueBox);
        text->setWordWrap(true);
        text->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        text->setFont(uiFont(12, QFont::Medium));
        text->setStyleSheet(u"color: %1;"_s.arg(colour.name()));
        valueLayout->addWidget(text);
        m_metadata->addWidget(iconLabel, row, 0);
        m_metadata->addWidget(name, row, 1);
        m_metadata->addWidget(valueBox, row, 2);
        m_metadataTexts << label + u": "_s + value;
        ++row;
    };
    metaRow(u"flag"_s, u"Приоритет"_s, priorityWord(task.priority), p.priorityColor(task.priority), u"circle.fill"_s,
            p.priorityColor(task.priority));
    if (done)
        metaRow(u"circle.dotted"_s, u"Статус"_s, u"Выполнено"_s, p.green, u"checkmark.circle"_s, p.green);
    else
        metaRow(u"circle.dotted"_s, u"Статус"_s, u"Активная"_s, p.teal);
    if (task.deadline && !task.deadline->isEmpty()) {
        const bool overdue = !done && isOverdue(task.deadline, m_state.clock().now());
        metaRow(u"calendar"_s, u"Дедлайн"_s, formatDeadline(task.deadline), overdue ? p.red : p.textPrimary,
                overdue ? u"exclamationmark.clock.fill"_s : u"clock"_s, overdue ? p.red : p.textTertiary);
    }
    metaRow(u"plus.circle"_s, u"Создана"_s, formatDeadline(task.createdAt), p.textPrimary);
    if (task.completedAt)
        metaRow(u"checkmark.circle"_s, u"Выполнена"_s, formatDeadline(task.completedAt), p.textPrimary);
    if (task.source)
        metaRow(u"globe"_s, u"Источник"_s, sourceLabel(*task.source), p.textPrimary);

    clearLayout(m_actions);
    m_actionButtons.clear();
    const auto action = [&](const QString& text, const QString& icon, VexoButton::Kind kind, auto run) {
        auto* button = new VexoButton(m_theme, kind, text, this);
        button->setIconName(icon);
        button->setMinimumHeight(36);
        connect(button, &QPushButton::clicked, this, run);
        m_actions->addWidget(button);
        m_actionButtons << button;
    };
    const VexoTask current = task;
    if (done)
        action(u"Вернуть в активные"_s, u"arrow.uturn.left"_s, VexoButton::Kind::ghost,
               [this, current] { (void)m_state.toggleTask(current); });
    else
        action(u"Отметить выполненной"_s, u"checkmark"_s, VexoButton::Kind::primary,
               [this, current] { (void)m_state.toggleTask(current); });
    action(u"Редактировать"_s, u"pencil"_s, VexoButton::Kind::ghost, [this, current] {
        m_state.setEditingTask(current);
        m_state.setShowEditTask(true);
    });
    action(u"Отправить в Telegram"_s, u"paperplane"_s, VexoButton::Kind::ghost,
           [this, id = current.id] { (void)m_state.sendToBot(id); });
    action(u"Архивировать"_s, u"archivebox"_s, VexoButton::Kind::ghost,
           [this, id = current.id] { (void)m_state.archiveTask(id); });
    action(u"Удалить задачу"_s, u"trash"_s, VexoButton::Kind::destructive,
           [this, id = current.id] { (void)m_state.deleteTask(id); });
    rebuildAttachments();
}
