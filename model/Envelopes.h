#pragma once

#include "AdminUser.h"
#include "Folder.h"
#include "TaskAttachment.h"
#include "User.h"
#include "VexoTask.h"

#include <QList>
#include <QString>

class JsonValue;
class JsonWriter;

// The small objects the service wraps its answers in. Every field is required.

struct AuthResponse {
    bool success = false;
    QString token;
    User user;

    static AuthResponse fromJson(JsonValue& value);
    void toJson(JsonWriter& writer) const;
    bool operator==(const AuthResponse&) const = default;
};

struct TasksResponse {
    QList<VexoTask> tasks;

    static TasksResponse fromJson(JsonValue& value);
    void toJson(JsonWriter& writer) const;
    bool operator==(const TasksResponse&) const = default;
};

struct TaskResponse {
    VexoTask task;

    static TaskResponse fromJson(JsonValue& value);
    void toJson(JsonWriter& writer) const;
    bool operator==(const TaskResponse&) const = default;
};

struct FoldersResponse {
    QList<Folder> folders;

    static FoldersResponse fromJson(JsonValue& value);
    void toJson(JsonWriter& writer) const;
    bool operator==(const FoldersResponse&) const = default;
};

struct AttachmentsResponse {
    QList<TaskAttachment> attachments;

    static AttachmentsResponse fromJson(JsonValue& value);
    void toJson(JsonWriter& writer) const;
    bool operator==(const AttachmentsResponse&) const = default;
};

struct ApiKeyResponse {
    QString apiKey;

    static ApiKeyResponse fromJson(JsonValue& value);
    void toJson(JsonWriter& writer) const;
    bool operator==(const ApiKeyResponse&) const = default;
};

// The service's own acknowledgement of a call that answers nothing else (deletions, archiving,
// sending to the bot): {"success": true}.
struct SuccessResponse {
    bool success = false;

    static SuccessResponse fromJson(JsonValue& value);
    void toJson(JsonWriter& writer) const;
    bool operator==(const SuccessResponse&) const = default;
};

// A folder created or renamed: {"folder": …}.
struct FolderResponse {
    Folder folder;

    static FolderResponse fromJson(JsonValue& value);
    void toJson(JsonWriter& writer) const;
    bool operator==(const FolderResponse&) const = default;
};

// An uploaded attachment: {"attachment": …}.
struct AttachmentResponse {
    TaskAttachment attachment;

    static AttachmentResponse fromJson(JsonValue& value);
    void toJson(JsonWriter& writer) const;
    bool operator==(const AttachmentResponse&) const = default;
};

// The administration's list of users: {"users": […]}.
struct AdminUsersResponse {
    QList<AdminUser> users;

    static AdminUsersResponse fromJson(JsonValue& value);
    void toJson(JsonWriter& writer) const;
    bool operator==(const AdminUsersResponse&) const = default;
};
