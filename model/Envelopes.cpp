#include "Envelopes.h"

#include "JsonValue.h"
#include "JsonWriter.h"

AuthResponse AuthResponse::fromJson(JsonValue& value) {
    AuthResponse response;
    RequiredKeys required;
    value.forEachField([&](std::string_view key, JsonValue& field) {
        if (key == "success") {
            response.success = field.toBool();
            required.seen(0);
        } else if (key == "token") {
            response.token = field.toString();
            required.seen(1);
        } else if (key == "user") {
            response.user = User::fromJson(field);
            required.seen(2);
        }
    });
    required.require(value.path(), {"success", "token", "user"});
    return response;
}

void AuthResponse::toJson(JsonWriter& writer) const {
    writer.beginObject();
    writer.field("success", success);
    writer.field("token", token);
    writer.key("user");
    user.toJson(writer);
    writer.endObject();
}

TasksResponse TasksResponse::fromJson(JsonValue& value) {
    TasksResponse response;
    RequiredKeys required;
    value.forEachField([&](std::string_view key, JsonValue& field) {
        if (key == "tasks") {
            response.tasks = decodeList<VexoTask>(field);
            required.seen(0);
        }
    });
    required.require(value.path(), {"tasks"});
    return response;
}

void TasksResponse::toJson(JsonWriter& writer) const {
    writer.beginObject();
    writeList(writer, "tasks", tasks);
    writer.endObject();
}

TaskResponse TaskResponse::fromJson(JsonValue& value) {
    TaskResponse response;
    RequiredKeys required;
    value.forEachField([&](std::string_view key, JsonValue& field) {
        if (key == "task") {
            response.task = VexoTask::fromJson(field);
            required.seen(0);
        }
    });
    required.require(value.path(), {"task"});
    return response;
}

void TaskResponse::toJson(JsonWriter& writer) const {
    writer.beginObject();
    writer.key("task");
    task.toJson(writer);
    writer.endObject();
}

FoldersResponse FoldersResponse::fromJson(JsonValue& value) {
    FoldersResponse response;
    RequiredKeys required;
    value.forEachField([&](std::string_view key, JsonValue& field) {
        if (key == "folders") {
            response.folders = decodeList<Folder>(field);
            required.seen(0);
        }
    });
    required.require(value.path(), {"folders"});
    return response;
}

void FoldersResponse::toJson(JsonWriter& writer) const {
    writer.beginObject();
    writeList(writer, "folders", folders);
    writer.endObject();
}

AttachmentsResponse AttachmentsResponse::fromJson(JsonValue& value) {
    AttachmentsResponse response;
    RequiredKeys required;
    value.forEachField([&](std::string_view key, JsonValue& field) {
        if (key == "attachments") {
            response.attachments = decodeList<TaskAttachment>(field);
            required.seen(0);
        }
    });
    required.require(value.path(), {"attachments"});
    return response;
}

void AttachmentsResponse::toJson(JsonWriter& writer) const {
    writer.beginObject();
    writeList(writer, "attachments", attachments);
    writer.endObject();
}

ApiKeyResponse ApiKeyResponse::fromJson(JsonValue& value) {
    ApiKeyResponse response;
    RequiredKeys required;
    value.forEachField([&](std::string_view key, JsonValue& field) {
        if (key == "api_key") {
            response.apiKey = field.toString();
            required.seen(0);
        }
    });
    required.require(value.path(), {"api_key"});
    return response;
}

void ApiKeyResponse::toJson(JsonWriter& writer) const {
    writer.beginObject();
    writer.field("api_key", apiKey);
    writer.endObject();
}

SuccessResponse SuccessResponse::fromJson(JsonValue& value) {
    SuccessResponse response;
    RequiredKeys required;
    value.forEachField([&](std::string_view key, JsonValue& field) {
        if (key == "success") {
            response.success = field.toBool();
            required.seen(0);
        }
    });
    required.require(value.path(), {"success"});
    return response;
}

void SuccessResponse::toJson(JsonWriter& writer) const {
    writer.beginObject();
    writer.field("success", success);
    writer.endObject();
}

FolderResponse FolderResponse::fromJson(JsonValue& value) {
    FolderResponse response;
    RequiredKeys required;
    value.forEachField([&](std::string_view key, JsonValue& field) {
        if (key == "folder") {
            response.folder = Folder::fromJson(field);
            required.seen(0);
        }
    });
    required.require(value.path(), {"folder"});
    return response;
}

void FolderResponse::toJson(JsonWriter& writer) const {
    writer.beginObject();
    writer.key("folder");
    folder.toJson(writer);
    writer.endObject();
}

AttachmentResponse AttachmentResponse::fromJson(JsonValue& value) {
    AttachmentResponse response;
    RequiredKeys required;
    value.forEachField([&](std::string_view key, JsonValue& field) {
        if (key == "attachment") {
            response.attachment = TaskAttachment::fromJson(field);
            required.seen(0);
        }
    });
    required.require(value.path(), {"attachment"});
    return response;
}

void AttachmentResponse::toJson(JsonWriter& writer) const {
    writer.beginObject();
    writer.key("attachment");
    attachment.toJson(writer);
    writer.endObject();
}

AdminUsersResponse AdminUsersResponse::fromJson(JsonValue& value) {
    AdminUsersResponse response;
    RequiredKeys required;
    value.forEachField([&](std::string_view key, JsonValue& field) {
        if (key == "users") {
            response.users = decodeList<AdminUser>(field);
            required.seen(0);
        }
    });
    required.require(value.path(), {"users"});
    return response;
}

void AdminUsersResponse::toJson(JsonWriter& writer) const {
    writer.beginObject();
    writeList(writer, "users", users);
    writer.endObject();
}
