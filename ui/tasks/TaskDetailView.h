#pragma once

#include "TaskAttachment.h"
#include "VexoTask.h"

#include <QCoroTask>
#include <QHash>
#include <QPixmap>
#include <QPointer>
#include <QSet>
#include <QUrl>
#include <QWidget>

#include <functional>
#include <memory>
#include <optional>

class AppState;
class BusyIndicator;
class FolderPicker;
class HTMLTextView;
class IconView;
class Lightbox;
class QGridLayout;
class QHBoxLayout;
class QLabel;
class QListWidget;
class QTemporaryDir;
class QVBoxLayout;
class Theme;
class VexoButton;

// One task on a whole page: title, badges, the description, the attachments with their lightbox,
// the metadata card and the six actions. Shown in place of the list while a task is selected.
//
// The keyboard: Esc, Backspace and Alt+Left go back to the list; Space toggles the task, Delete
// deletes it, Ctrl+E edits it and Ctrl+M files it into a folder. The title can be dragged onto a
// sidebar folder.
class TaskDetailView final : public QWidget {
    Q_OBJECT

public:
    // Hands a downloaded file to the desktop; tests put their own in so nothing is launched.
    using FileOpener = std::function<void(const QString& path)>;

    TaskDetailView(AppState& state, Theme& theme, QWidget* parent = nullptr);
    ~TaskDetailView() override;

    // The task shown. Its attachments are fetched whenever the page appears, and again when
    // another task takes its place.
    void showTask(const VexoTask& task);
    const std::optional<VexoTask>& task() const { return m_task; }

    QString titleText() const;
    QStringList badgeTexts() const;
    QStringList metadataRows() const; // "label: value"
    QStringList actionTexts() const;
    VexoButton* actionButton(const QString& text) const;
    VexoButton* backButton() const { return m_back; }
    bool isLoadingAttachments() const { return m_loadingAttachments; }
    const QList<TaskAttachment>& attachments() const { return m_attachments; }
    bool showsNoAttachments() const;
    IconView* noAttachmentsIcon() const { return m_noAttachmentsIcon; }
    QListWidget* thumbnails() const { return m_thumbnails; }
    int thumbnailsLoaded() const { return int(m_images.size()); }
    // A press on a thumbnail: a picture opens enlarged, any other file opens on the desktop.
    void openAttachment(int index);
    Lightbox* lightbox() const;
    void setFileOpener(FileOpener opener) { m_openFile = std::move(opener); }
    void deleteAttachment(const TaskAttachment& attachment);

    // How a source reads on the page: "Telegram бот", "API" or "Веб".
    static QString sourceLabel(const QString& source);
    QLabel* titleLabel() const { return m_title; }
    // The folder picker while it is open.
    FolderPicker* folderPicker() const;

protected:
    void showEvent(QShowEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void wireKeyboard();
    void pickFolder();
    void rebuild();
    void rebuildAttachments();
    void reloadAttachments();
    QUrl fileUrl(const TaskAttachment& attachment) const;
    QCoro::Task<void> loadAttachments(qint64 taskId, int generation);
    QCoro::Task<void> removeAttachment(qint64 taskId, TaskAttachment attachment);
    QCoro::Task<void> loadImage(QUrl url);
    QCoro::Task<void> openExternally(QUrl url, TaskAttachment attachment);
    void openLightbox(int index);
    void clearLayout(QLayout* layout);

    AppState& m_state;
    Theme& m_theme;
    std::optional<VexoTask> m_task;
    // The list on show and the task it belongs to: file addresses are built from this pair only.
    qint64 m_attachmentsTaskId = 0;
    QList<TaskAttachment> m_attachments;
    bool m_loadingAttachments = false;
    int m_generation = 0;
    QHash<QUrl, QPixmap> m_images; // for the session: a task seen again shows its pictures at once
    QSet<QUrl> m_pendingImages;
    QSet<QUrl> m_failedImages;
    QPointer<Lightbox> m_lightbox;
    QList<int> m_lightboxRows; // the attachment behind each picture of the open lightbox
    FileOpener m_openFile;
    std::unique_ptr<QTemporaryDir> m_files;

    VexoButton* m_back;
    QLabel* m_title;
    QHBoxLayout* m_badges;
    HTMLTextView* m_description;
    BusyIndicator* m_attachmentsBusy;
    QWidget* m_noAttachments;
    IconView* m_noAttachmentsIcon;
    QListWidget* m_thumbnails;
    QGridLayout* m_metadata;
    QVBoxLayout* m_actions;
    QList<VexoButton*> m_actionButtons;
    QStringList m_metadataTexts;
    QStringList m_badgeTexts;
    QPointer<FolderPicker> m_picker;
    QPoint m_titlePressedAt;
    bool m_titlePressed = false;
};
