#pragma once

#include "TaskAttachment.h"
#include "VexoTask.h"

#include <QCoroTask>
#include <QHash>
#include <QPixmap>
#include <QSet>
#include <QUrl>
#include <QWidget>

#include <optional>

class AppState;
class BusyIndicator;
class HTMLTextView;
class QGridLayout;
class QHBoxLayout;
class QLabel;
class QListWidget;
class QListWidgetItem;
class QNetworkAccessManager;
class QToolButton;
class QVBoxLayout;
class Theme;
class VexoButton;

// One task on a whole page: title, badges, the description, the attachments with their lightbox,
// the metadata card and the six actions. Shown in place of the list while a task is selected.
class TaskDetailView final : public QWidget {
    Q_OBJECT

public:
    TaskDetailView(AppState& state, Theme& theme, QNetworkAccessManager& network, QWidget* parent = nullptr);

    // The task shown; a different id reloads the attachments.
    void showTask(const VexoTask& task);
    const std::optional<VexoTask>& task() const { return m_task; }

    QString titleText() const;
    QStringList badgeTexts() const;
    QStringList metadataRows() const; // "label: value"
    QStringList actionTexts() const;
    VexoButton* actionButton(const QString& text) const;
    bool isLoadingAttachments() const { return m_loadingAttachments; }
    const QList<TaskAttachment>& attachments() const { return m_attachments; }
    bool showsNoAttachments() const;
    QListWidget* thumbnails() const { return m_thumbnails; }
    int thumbnailsLoaded() const { return int(m_images.size()); }
    void openLightbox(int index);
    void deleteAttachment(const TaskAttachment& attachment);

    // How a source reads on the page: "Telegram бот", "API" or "Веб".
    static QString sourceLabel(const QString& source);

private:
    void rebuild();
    void rebuildAttachments();
    QCoro::Task<void> loadAttachments(qint64 taskId, int generation);
    QCoro::Task<void> removeAttachment(qint64 taskId, TaskAttachment attachment);
    void loadThumbnail(const TaskAttachment& attachment);
    void clearLayout(QLayout* layout);

    AppState& m_state;
    Theme& m_theme;
    QNetworkAccessManager& m_network;
    std::optional<VexoTask> m_task;
    QList<TaskAttachment> m_attachments;
    bool m_loadingAttachments = false;
    int m_generation = 0;
    QHash<QUrl, QPixmap> m_images; // for the session: a task seen again shows its pictures at once
    QSet<QUrl> m_pendingImages;
    QSet<QUrl> m_failedImages;

    QWidget* m_header;
    VexoButton* m_back;
    QLabel* m_title;
    QHBoxLayout* m_badges;
    HTMLTextView* m_description;
    QToolButton* m_descriptionCaption;
    QToolButton* m_attachmentsCaption;
    BusyIndicator* m_attachmentsBusy;
    QLabel* m_noAttachments;
    QListWidget* m_thumbnails;
    QGridLayout* m_metadata;
    QVBoxLayout* m_actions;
    QList<VexoButton*> m_actionButtons;
    QStringList m_metadataTexts;
    QStringList m_badgeTexts;
};
