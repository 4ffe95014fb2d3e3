#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// What a change touched and how.
enum class ChangeKind { task, folder, settings, attachment };
enum class ChangeOp { created, updated, deleted };

inline constexpr ChangeKind allChangeKinds[] = {ChangeKind::task, ChangeKind::folder, ChangeKind::settings,
                                                ChangeKind::attachment};

// The names used in storage and on the wire.
QString changeKindName(ChangeKind kind);
QString changeOpName(ChangeOp op);
std::optional<ChangeKind> changeKindFromName(const QString& name);
std::optional<ChangeOp> changeOpFromName(const QString& name);

// One row of the change log: a change to one user's task, folder, settings or attachment. Revisions
// come from one sequence across all users, so they also increase for each user.
struct Change {
    qint64 revision = 0;
    qint64 userId = 0;
    ChangeKind kind = ChangeKind::task;
    ChangeOp op = ChangeOp::updated;
    qint64 id = 0;                // the row's id; for settings, the user's
    std::optional<qint64> taskId; // for attachments, the task they belong to

    bool operator==(const Change&) const = default;

    // The feed's message: {"type":"change","kind":…,"op":…,"id":…[,"task_id":…],"rev":…}
    QByteArray toMessage() const;
};

// The feed's first message: {"type":"hello","rev":…}
QByteArray helloMessage(qint64 revision);
