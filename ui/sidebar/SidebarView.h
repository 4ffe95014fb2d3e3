#pragma once

#include "Folder.h"
#include "SidebarItem.h"

#include <QCoroTask>
#include <QPixmap>
#include <QWidget>

class AppState;
class QLabel;
class QMenu;
class QPushButton;
class QVBoxLayout;
class Theme;

// The left column: the logo, the four task lists, the folders with their commands, the account
// screens, and the signed-in person with "Выйти". It scrolls up and down only; long names are cut.
// A task dragged onto a folder moves into it.
class SidebarView final : public QWidget {
    Q_OBJECT

public:
    SidebarView(AppState& state, Theme& theme, QWidget* parent = nullptr);

    // Navigation buttons by their label, for tests and accessibility checks.
    QPushButton* itemButton(const QString& label) const;
    QList<QPushButton*> folderButtons() const { return m_folderButtons; }
    QPushButton* folderButton(qint64 folderId) const;
    // The folder a dragged task is over, highlighted; null when none.
    QPushButton* dropTarget() const;
    QPushButton* newFolderButton() const { return m_newFolder; }
    QPushButton* logoutButton() const { return m_logout; }
    QString userName() const;
    bool hasAvatar() const { return !m_avatar.isNull(); }
    // The context menu of a folder row.
    QMenu* folderMenu(const Folder& folder, QWidget* parent);

protected:
    void resizeEvent(QResizeEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void orderTabs();
    void setDropTarget(QPushButton* button);
    void elideName();
    QPushButton* addItem(QVBoxLayout* layout, const QString& label, const QString& icon, SidebarItem item);
    QLabel* addSection(QVBoxLayout* layout, const QString& title);
    void rebuildFolders();
    void refreshSelection();
    void refreshUser();
    void loadAvatar();
    QCoro::Task<void> fetchAvatar(QString source);

    AppState& m_state;
    Theme& m_theme;
    struct Item {
        QPushButton* button;
        SidebarItem item;
    };
    QList<Item> m_items;
    QList<QLabel*> m_sections;
    QVBoxLayout* m_folderLayout;
    QList<QPushButton*> m_folderButtons;
    QPushButton* m_newFolder;
    QPushButton* m_admin;
    QWidget* m_avatarView;
    QLabel* m_name;
    QPushButton* m_logout;
    QString m_fullName;
    QPixmap m_avatar;
    QString m_avatarSource;
};
