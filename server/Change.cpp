#include "Change.h"

#include "JsonWriter.h"

using namespace Qt::StringLiterals;

QString changeKindName(ChangeKind kind) {
    switch (kind) {
    case ChangeKind::task:
        return u"task"_s;
    case ChangeKind::folder:
        return u"folder"_s;
    case ChangeKind::settings:
        return u"settings"_s;
    case ChangeKind::attachment:
        return u"attachment"_s;
    }
    return QString();
}

QString changeOpName(ChangeOp op) {
    switch (op) {
    case ChangeOp::created:
        return u"created"_s;
    case ChangeOp::updated:
        return u"updated"_s;
    case ChangeOp::deleted:
        return u"deleted"_s;
    }
    return QString();
}

std::optional<ChangeKind> changeKindFromName(const QString& name) {
    for (ChangeKind kind : allChangeKinds) {
        if (changeKindName(kind) == name)
            return kind;
    }
    return std::nullopt;
}

std::optional<ChangeOp> changeOpFromName(const QString& name) {
    for (ChangeOp op : {ChangeOp::created, ChangeOp::updated, ChangeOp::deleted}) {
        if (changeOpName(op) == name)
            return op;
    }
    return std::nullopt;
}

QByteArray Change::toMessage() const {
    JsonWriter writer;
    writer.beginObject();
    writer.field("type", u"change"_s);
    writer.field("kind", changeKindName(kind));
    writer.field("op", changeOpName(op));
    writer.field("id", id);
    writer.optionalField("task_id", taskId);
    writer.field("rev", revision);
    writer.endObject();
    return writer.take();
}

QByteArray helloMessage(qint64 revision) {
    JsonWriter writer;
    writer.beginObject();
    writer.field("type", u"hello"_s);
    writer.field("rev", revision);
    writer.endObject();
    return writer.take();
}
