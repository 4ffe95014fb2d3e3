#include "TaskDetailView.h"

#include "TaskRowDelegate.h"

#include "AppState.h"
#include "Badge.h"
#include "BusyIndicator.h"
#include "EmojiText.h"
#include "FolderPicker.h"
#include "Fonts.h"
#include "HTMLTextView.h"
#include "IconView.h"
#include "Icons.h"
#include "Lightbox.h"
#include "ServerDate.h"
#include "Style.h"
#include "TaskFiling.h"
#include "Theme.h"
#include "VexoButton.h"
#include "VexoCard.h"
#include "WindowShortcuts.h"

#include <QApplication>
#include <QDesktopServices>
#include <QDir>
#include <QDrag>
#include <QFile>
#include <QFileInfo>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QMimeData>
#include <QPainter>
#include <QPainterPath>
#include <QScrollArea>
#include <QShortcut>
#include <QShowEvent>
#include <QStyledItemDelegate>
#include <QTemporaryDir>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr QSize thumbSize(100, 80);
constexpr QSize cellSize = thumbSize + QSize(10, 10);

bool isPicture(const TaskAttachment& attachment) {
    return attachment.mimetype.startsWith(u"image/"_s);
}

// A file name fit for the local disk: no folders, nothing hidden, never empty.
QString safeFileName(const QString& name) {
    QString base = QFileInfo(QString(name).replace(u'\\', u'/')).fileName();
    base.remove(QChar(0));
    while (base.startsWith(u'.'))
        base.remove(0, 1);
    return base.isEmpty() ? u"вложение"_s : base;
}

// Thumbnails are painted from the palette and the pictures at hand: the picture filling a 100 × 80
// rounded frame, or, while it loads or when the file is no picture, a tile with the file's name.
class ThumbnailDelegate final : public QStyledItemDelegate {
public:
    ThumbnailDelegate(const Theme& theme, std::function<QPixmap(int)> image, QObject* parent)
        : QStyledItemDelegate(parent)
        , m_theme(theme)
        , m_image(std::move(image)) {}

    QSize sizeHint(const QStyleOptionViewItem&, const QModelIndex&) const override { return cellSize; }

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override {
        const Palette& p = m_theme.palette();
        const QRectF frame(QPointF(option.rect.topLeft()) + QPointF(5, 5), QSizeF(thumbSize));
        const qreal dpr = painter->device()->devicePixelRatioF();
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->setRenderHint(QPainter::SmoothPixmapTransform);
        QPainterPath clip;
        clip.addRoundedRect(frame, 8, 8);
        const QPixmap image = m_image(index.row());
        if (!image.isNull()) {
            painter->setClipPath(clip);
            // Fill the frame, cropping what overflows.
            const QSizeF scaled = QSizeF(image.size()).scaled(frame.size(), Qt::KeepAspectRatioByExpanding);
            painter->drawPixmap(QRectF(frame.center() - QPointF(scaled.width() / 2, scaled.height() / 2), scaled),
                                image, QRectF(image.rect()));
        } else {
            painter->fillPath(clip, p.raisedHover);
            painter->drawPixmap(frame.topLeft() + QPointF(40, 22), Icons::pixmap(u"photo"_s, 20, p.textTertiary, dpr));
            painter->setPen(p.textTertiary);
            painter->setFont(uiFont(10));
            const QString name = index.data(Qt::AccessibleTextRole).toString();
            painter->drawText(QRectF(frame.left() + 6, frame.top() + 48, 88, 24), Qt::AlignCenter,
                              painter->fontMetrics().elidedText(name, Qt::ElideMiddle, 88));
        }
        if (option.state & QStyle::State_MouseOver) {
            painter->setClipping(false);
            painter->setPen(QPen(p.accent, 1.5));
            painter->drawPath(clip);
        }
        painter->restore();
    }

private:
    const Theme& m_theme;
    std::function<QPixmap(int)> m_image;
};

QLabel* textLabel(const QString& text, int size, QFont::Weight weight, Palette::Role role, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setFont(uiFont(size, weight));
    Style::setText(label, role);
    return label;
}

} // namespace

TaskDetailView::TaskDetailView(AppState& state, Theme& theme, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
    , m_theme(theme)
    , m_openFile([](const QString& path) { QDesktopServices::openUrl(QUrl::fromLocalFile(path)); }) {
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->setSpacing(0);
    auto* header = new QWidget(this);
    header->setAttribute(Qt::WA_StyledBackground);
    header->setObjectName(u"detailHeader"_s);
    auto* headerLayout = new QHBoxLayout(header);
    headerLayout->setContentsMargins(24, 16, 24, 16);
    m_back = new VexoButton(theme, VexoButton::Kind::plain, u"К задачам"_s, header);
    m_back->setIconName(u"chevron.left"_s);
    m_back->setIconSize(QSize(12, 12));
    m_back->setFont(uiFont(13, QFont::Medium));
    connect(m_back, &QPushButton::clicked, this, [this] { m_state.setSelectedTask(std::nullopt); });
    headerLayout->addWidget(m_back);
    headerLayout->addStretch();
    outer->addWidget(header);

    auto* scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    auto* page = new QWidget(scroll);
    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(24, 20, 24, 24);
    layout->setSpacing(12);
    m_title = new QLabel(page);
    m_title->setTextFormat(Qt::RichText); // the title's own text, escaped, with its emoji in colour
    m_title->setWordWrap(true);
    // The title is the handle to drag the task onto a sidebar folder with.
    m_title->setCursor(Qt::OpenHandCursor);
    m_title->installEventFilter(this);
    layout->addWidget(m_title);
    m_badges = new QHBoxLayout;
    m_badges->setSpacing(6);
    layout->addLayout(m_badges);

    auto* columns = new QHBoxLayout;
    columns->setSpacing(20);
    auto* main = new QVBoxLayout;
    main->setSpacing(10);
    // A section's caption: its icon, then its name in 13 pt semibold.
    const auto caption = [&](const QString& icon, const QString& text) {
        auto* row = new QWidget(page);
        auto* rowLayout = new QHBoxLayout(row);
        rowLayout->setContentsMargins(0, 0, 0, 0);
        rowLayout->setSpacing(6);
        rowLayout->addWidget(new IconView(theme, icon, 13, Palette::Role::textSecondary, row));
        rowLayout->addWidget(textLabel(text, 13, QFont::DemiBold, Palette::Role::textPrimary, row));
        return row;
    };
    main->addWidget(caption(u"text.alignleft"_s, u"Описание"_s));
    m_description = new HTMLTextView(theme, page);
    main->addWidget(m_description);
    main->addSpacing(10);
    auto* attachmentsHeader = new QHBoxLayout;
    attachmentsHeader->addWidget(caption(u"photo"_s, u"Вложения"_s));
    m_attachmentsBusy = new BusyIndicator(theme, 14, page);
    attachmentsHeader->addWidget(m_attachmentsBusy);
    attachmentsHeader->addStretch();
    main->addLayout(attachmentsHeader);
    m_noAttachments = new QWidget(page);
    auto* noneLayout = new QHBoxLayout(m_noAttachments);
    noneLayout->setContentsMargins(0, 0, 0, 0);
    noneLayout->setSpacing(6);
    m_noAttachmentsIcon =
        new IconView(theme, u"photo.on.rectangle.angled"_s, 14, Palette::Role::textSecondary, m_noAttachments);
    noneLayout->addWidget(m_noAttachmentsIcon);
    noneLayout->addWidget(textLabel(u"Нет вложений"_s, 12, QFont::Normal, Palette::Role::textSecondary, page));
    noneLayout->addStretch();
    main->addWidget(m_noAttachments);
    m_thumbnails = new QListWidget(page);
    m_thumbnails->setViewMode(QListView::IconMode);
    m_thumbnails->setGridSize(cellSize);
    m_thumbnails->setResizeMode(QListView::Adjust);
    m_thumbnails->setMovement(QListView::Static);
    m_thumbnails->setSelectionMode(QAbstractItemView::NoSelection);
    m_thumbnails->setContextMenuPolicy(Qt::CustomContextMenu);
    m_thumbnails->setMouseTracking(true);
    m_thumbnails->setMinimumHeight(cellSize.height() + 4);
    m_thumbnails->setAccessibleName(u"Вложения"_s);
    Style::setRole(m_thumbnails, u"thumbnails"_s);
    m_thumbnails->setItemDelegate(new ThumbnailDelegate(
        theme,
        [this](int row) {
            return row < m_attachments.size() ? m_images.value(fileUrl(m_attachments[row])) : QPixmap();
        },
        m_thumbnails));
    connect(m_thumbnails, &QListWidget::itemClicked, this,
            [this](QListWidgetItem* item) { openAttachment(m_thumbnails->row(item)); });
    connect(m_thumbnails, &QListWidget::customContextMenuRequested, this, [this](const QPoint& at) {
        QListWidgetItem* item = m_thumbnails->itemAt(at);
        if (!item)
            return;
        const TaskAttachment attachment = m_attachments.value(m_thumbnails->row(item));
        auto* menu = new QMenu(this);
        menu->setAttribute(Qt::WA_DeleteOnClose);
        menu->addAction(Icons::icon(u"trash"_s, m_theme, Palette::Role::red), u"Удалить"_s, this,
                        [this, attachment] { deleteAttachment(attachment); });
        menu->popup(m_thumbnails->viewport()->mapToGlobal(at));
    });
    main->addWidget(m_thumbnails);
    main->addStretch();
    columns->addLayout(main, 1);

    auto* divider = new QFrame(page);
    divider->setFixedWidth(1);
    Style::setRole(divider, u"divider"_s);
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
    rebuildAttachments();
    wireKeyboard();
}

void TaskDetailView::wireKeyboard() {
    // The page itself takes the keyboard when it opens, so the keys below act on its task at once.
    setFocusPolicy(Qt::ClickFocus);
    const auto onPage = [this](QList<QKeySequence> keys, auto action) {
        auto* shortcut = new QShortcut(this);
        shortcut->setKeys(keys);
        shortcut->setContext(Qt::WidgetWithChildrenShortcut);
        connect(shortcut, &QShortcut::activated, this, action);
    };
    onPage(keysWithDesktop({Qt::Key_Escape, Qt::Key_Backspace, Qt::ALT | Qt::Key_Left}, QKeySequence::Back),
           [this] { m_state.setSelectedTask(std::nullopt); });
    onPage({Qt::Key_Delete}, [this] {
        if (m_task)
            (void)m_state.deleteTask(m_task->id);
    });
    onPage({Qt::CTRL | Qt::Key_E}, [this] {
        if (!m_task)
            return;
        m_state.setEditingTask(*m_task);
        m_state.setShowEditTask(true);
    });
    onPage({Qt::CTRL | Qt::Key_M}, [this] {
        if (m_task)
            pickFolder();
    });
}

void TaskDetailView::keyPressEvent(QKeyEvent* event) {
    // Space reaches the page only when nothing focused on it wanted the key (a focused button
    // presses itself with it).
    if (event->key() == Qt::Key_Space && (event->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier && m_task) {
        (void)m_state.toggleTask(*m_task);
        return;
    }
    QWidget::keyPressEvent(event);
}

void TaskDetailView::pickFolder() {
    if (m_picker)
        m_picker->close();
    m_picker = new FolderPicker(m_state, *m_task, this);
    m_picker->popup(m_title->mapToGlobal(QPoint(0, m_title->height() + 4)));
}

bool TaskDetailView::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_title && m_task) {
        const auto mouse = [event] { return static_cast<QMouseEvent*>(event); };
        if (event->type() == QEvent::MouseButtonPress && mouse()->button() == Qt::LeftButton) {
            m_titlePressedAt = mouse()->pos();
            m_titlePressed = true;
        } else if (event->type() == QEvent::MouseButtonRelease) {
            m_titlePressed = false;
        } else if (event->type() == QEvent::MouseMove && m_titlePressed && (mouse()->buttons() & Qt::LeftButton) &&
                   (mouse()->pos() - m_titlePressedAt).manhattanLength() >= QApplication::startDragDistance()) {
            m_titlePressed = false;
            auto* drag = new QDrag(m_title);
            drag->setMimeData(TaskFiling::dragData(m_task->id));
            drag->setPixmap(m_title->grab());
            drag->setHotSpot(m_titlePressedAt);
            drag->exec(Qt::MoveAction);
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

TaskDetailView::~TaskDetailView() = default;

Lightbox* TaskDetailView::lightbox() const {
    return m_lightbox;
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
    if (another) {
        // Nothing of the last task's list may be shown, or asked for, under this one's id.
        ++m_generation;
        m_attachments.clear();
        m_attachmentsTaskId = task.id;
        m_loadingAttachments = false;
        if (m_lightbox)
            m_lightbox->reject();
        rebuildAttachments();
    }
    rebuild();
    if (another && isVisible())
        reloadAttachments();
}

void TaskDetailView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (!event->spontaneous() && !isAncestorOf(QApplication::focusWidget()))
        setFocus(Qt::OtherFocusReason);
    // Every time the page comes up, also for the task it showed last time.
    if (!event->spontaneous())
        reloadAttachments();
}

void TaskDetailView::reloadAttachments() {
    if (!m_task)
        return;
    (void)loadAttachments(m_task->id, ++m_generation);
}

QUrl TaskDetailView::fileUrl(const TaskAttachment& attachment) const {
    return m_state.api().attachmentFileURL(m_attachmentsTaskId, attachment.id);
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
    // An answer for a task no longer shown, or overtaken by a newer request, is dropped.
    if (!self || generation != m_generation)
        co_return;
    m_loadingAttachments = false;
    m_attachmentsTaskId = taskId;
    // A failed fetch leaves the list that was there.
    if (answer)
        m_attachments = answer->attachments;
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
    if (!self || m_attachmentsTaskId != taskId)
        co_return;
    m_attachments.removeIf([&](const TaskAttachment& each) { return each.id == attachment.id; });
    rebuildAttachments();
}

QCoro::Task<void> TaskDetailView::loadImage(QUrl url) {
    QPointer<TaskDetailView> self(this);
    m_pendingImages.insert(url);
    QPixmap image;
    try {
        const QByteArray bytes = co_await m_state.api().fetchImage(url);
        image.loadFromData(bytes);
    } catch (...) {
        image = QPixmap();
    }
    if (!self)
        co_return;
    m_pendingImages.remove(url);
    if (image.isNull()) {
        // The tile stays, without its spinner, and the picture is not asked for again.
        m_failedImages.insert(url);
    } else {
        m_images.insert(url, image);
        if (m_lightbox) {
            for (int i = 0; i < m_lightboxRows.size(); ++i) {
                const int row = m_lightboxRows[i];
                if (row < m_attachments.size() && fileUrl(m_attachments[row]) == url)
                    m_lightbox->setImage(i, image);
            }
        }
    }
    rebuildAttachments();
}

void TaskDetailView::openAttachment(int index) {
    if (index < 0 || index >= m_attachments.size())
        return;
    const TaskAttachment& attachment = m_attachments[index];
    if (isPicture(attachment))
        openLightbox(index);
    else
        (void)openExternally(fileUrl(attachment), attachment);
}

void TaskDetailView::openLightbox(int index) {
    QList<Lightbox::Picture> pictures;
    m_lightboxRows.clear();
    int shown = 0;
    for (int row = 0; row < m_attachments.size(); ++row) {
        const TaskAttachment& attachment = m_attachments[row];
        if (!isPicture(attachment))
            continue;
        if (row == index)
            shown = int(pictures.size());
        pictures.append({attachment.filename, m_images.value(fileUrl(attachment))});
        m_lightboxRows << row;
    }
    if (m_lightbox)
        m_lightbox->reject();
    m_lightbox = new Lightbox(m_theme, pictures, shown, window());
    m_lightbox->setAttribute(Qt::WA_DeleteOnClose);
    m_lightbox->open();
}

QCoro::Task<void> TaskDetailView::openExternally(QUrl url, TaskAttachment attachment) {
    QPointer<TaskDetailView> self(this);
    QByteArray bytes;
    try {
        bytes = co_await m_state.api().fetchImage(url);
    } catch (...) {
        if (self)
            m_state.showToast(u"Ошибка: "_s + AppState::describe(std::current_exception()));
        co_return;
    }
    if (!self)
        co_return;
    // Under its own name, in a folder of the session that goes when the application does.
    if (!m_files)
        m_files = std::make_unique<QTemporaryDir>();
    const QString folder = m_files->filePath(QString::number(attachment.id));
    QFile file(QDir(folder).filePath(safeFileName(attachment.filename)));
    if (!m_files->isValid() || !QDir().mkpath(folder) || !file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        file.write(bytes) != bytes.size()) {
        m_state.showToast(u"Ошибка: "_s + file.errorString());
        co_return;
    }
    file.close();
    m_openFile(file.fileName());
}

bool TaskDetailView::showsNoAttachments() const {
    return !m_noAttachments->isHidden();
}

void TaskDetailView::rebuildAttachments() {
    m_attachmentsBusy->setVisible(m_loadingAttachments);
    m_noAttachments->setVisible(!m_loadingAttachments && m_attachments.isEmpty());
    m_thumbnails->setVisible(!m_attachments.isEmpty());
    m_thumbnails->clear();
    for (const TaskAttachment& attachment : std::as_const(m_attachments)) {
        const QUrl url = fileUrl(attachment);
        if (isPicture(attachment) && !m_images.contains(url) && !m_pendingImages.contains(url) &&
            !m_failedImages.contains(url))
            (void)loadImage(url);
        auto* item = new QListWidgetItem(m_thumbnails);
        item->setToolTip(attachment.filename);
        item->setData(Qt::AccessibleTextRole, attachment.filename);
        item->setSizeHint(cellSize);
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
    return m_title->accessibleName();
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
    const bool done = task.status == TaskStatus::done;

    QFont titleFont = uiFont(22, QFont::Bold);
    titleFont.setStrikeOut(done);
    m_title->setFont(titleFont);
    m_title->setText(EmojiText::toHtml(task.title));
    m_title->setAccessibleName(task.title);
    Style::setText(m_title, done ? Palette::Role::textSecondary : Palette::Role::textPrimary);

    clearLayout(m_badges);
    m_badgeTexts.clear();
    const auto badge = [&](const QString& text, const QString& icon, Palette::Role role) {
        m_badges->addWidget(new Badge(m_theme, text, icon, role, 11, this));
        m_badgeTexts << text;
    };
    badge(priorityWord(task.priority), QString(), Palette::priorityRole(task.priority));
    if (task.isSentToBot())
        badge(u"В Telegram"_s, u"paperplane.fill"_s, Palette::Role::teal);
    if (task.source == u"bot")
        badge(u"Из бота"_s, u"bubble.left.fill"_s, Palette::Role::textTertiary);
    if (task.isArchived())
        badge(u"Архив"_s, u"archivebox"_s, Palette::Role::textSecondary);
    m_badges->addStretch();

    m_description->setHtmlDescription(task.description.value_or(QString()));

    clearLayout(m_metadata);
    m_metadataTexts.clear();
    int row = 0;
    const auto metaRow = [&](const QString& icon, const QString& label, const QString& value, Palette::Role role,
                             const QString& valueIcon = QString(), Palette::Role valueIconRole = {}) {
        auto* iconBox = new QWidget(this);
        iconBox->setFixedWidth(16);
        auto* iconLayout = new QHBoxLayout(iconBox);
        iconLayout->setContentsMargins(0, 0, 0, 0);
        iconLayout->addWidget(new IconView(m_theme, icon, 11, Palette::Role::textTertiary, iconBox), 0,
                              Qt::AlignCenter);
        auto* name = textLabel(label, 12, QFont::Normal, Palette::Role::textSecondary, this);
        name->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Preferred);
        auto* valueBox = new QWidget(this);
        auto* valueLayout = new QHBoxLayout(valueBox);
        valueLayout->setContentsMargins(0, 0, 0, 0);
        valueLayout->setSpacing(4);
        valueLayout->addStretch();
        if (!valueIcon.isEmpty())
            valueLayout->addWidget(new IconView(m_theme, valueIcon, 13, valueIconRole, valueBox));
        auto* text = textLabel(value, 12, QFont::Medium, role, valueBox);
        text->setWordWrap(true);
        text->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        valueLayout->addWidget(text);
        m_metadata->addWidget(iconBox, row, 0);
        m_metadata->addWidget(name, row, 1);
        m_metadata->addWidget(valueBox, row, 2);
        m_metadataTexts << label + u": "_s + value;
        ++row;
    };
    const Palette::Role priority = Palette::priorityRole(task.priority);
    metaRow(u"flag"_s, u"Приоритет"_s, priorityWord(task.priority), priority, u"circle.fill"_s, priority);
    if (done)
        metaRow(u"circle.dotted"_s, u"Статус"_s, u"Выполнено"_s, Palette::Role::green, u"checkmark.circle"_s,
                Palette::Role::green);
    else
        metaRow(u"circle.dotted"_s, u"Статус"_s, u"Активная"_s, Palette::Role::teal);
    if (task.deadline && !task.deadline->isEmpty()) {
        const bool overdue = !done && isOverdue(task.deadline, m_state.clock().now());
        metaRow(u"calendar"_s, u"Дедлайн"_s, formatDeadline(task.deadline),
                overdue ? Palette::Role::red : Palette::Role::textPrimary,
                overdue ? u"exclamationmark.clock.fill"_s : u"clock"_s,
                overdue ? Palette::Role::red : Palette::Role::textTertiary);
    }
    metaRow(u"plus.circle"_s, u"Создана"_s, formatDeadline(task.createdAt), Palette::Role::textPrimary);
    if (task.completedAt)
        metaRow(u"checkmark.circle"_s, u"Выполнена"_s, formatDeadline(task.completedAt), Palette::Role::textPrimary);
    if (task.source)
        metaRow(u"globe"_s, u"Источник"_s, sourceLabel(*task.source), Palette::Role::textPrimary);

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
    // Made anew with every change, the buttons would Tab last of all: the page reads top to bottom,
    // left column first.
    QWidget* previous = m_back;
    for (QWidget* next : QList<QWidget*>{m_description, m_thumbnails}) {
        QWidget::setTabOrder(previous, next);
        previous = next;
    }
    for (VexoButton* button : std::as_const(m_actionButtons)) {
        QWidget::setTabOrder(previous, button);
        previous = button;
    }
}

FolderPicker* TaskDetailView::folderPicker() const {
    return m_picker;
}
