#pragma once

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
