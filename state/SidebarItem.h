#pragma once

#include "TaskStatus.h"

#include <QtGlobal>

#include <optional>

// The sidebar selection: a list of tasks, a folder, or one of the account screens.
class SidebarItem final {
public:
    enum class Kind { folder, allTasks, pending, done, archived, stats, apiKey, settings, admin };

    SidebarItem() = default;
    static SidebarItem folder(qint64 id) { return SidebarItem(Kind::folder, id); }
    static SidebarItem allTasks() { return SidebarItem(Kind::allTasks); }
    static SidebarItem pending() { return SidebarItem(Kind::pending); }
    static SidebarItem done() { return SidebarItem(Kind::done); }
    static SidebarItem archived() { return SidebarItem(Kind::archived); }
    static SidebarItem stats() { return SidebarItem(Kind::stats); }
    static SidebarItem apiKey() { return SidebarItem(Kind::apiKey); }
    static SidebarItem settings() { return SidebarItem(Kind::settings); }
    static SidebarItem admin() { return SidebarItem(Kind::admin); }

    Kind kind() const { return m_kind; }
    // The folder's id for `folder`, else empty.
    std::optional<qint64> folderId() const;
    // What a task load sends for this selection.
    std::optional<TaskStatus> statusFilter() const;
    bool showsArchive() const { return m_kind == Kind::archived; }

    bool operator==(const SidebarItem& other) const {
        return m_kind == other.m_kind && (m_kind != Kind::folder || m_folderId == other.m_folderId);
    }

private:
    explicit SidebarItem(Kind kind, qint64 folderId = 0)
        : m_kind(kind)
        , m_folderId(folderId) {}

    Kind m_kind = Kind::allTasks;
    qint64 m_folderId = 0;
};
