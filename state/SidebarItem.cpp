#include "SidebarItem.h"

std::optional<qint64> SidebarItem::folderId() const {
    return m_kind == Kind::folder ? std::optional<qint64>(m_folderId) : std::nullopt;
}

std::optional<TaskStatus> SidebarItem::statusFilter() const {
    switch (m_kind) {
    case Kind::pending:
        return TaskStatus::pending;
    case Kind::done:
        return TaskStatus::done;
    default:
        return std::nullopt;
    }
}
