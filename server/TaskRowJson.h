#pragma once

#include "JsonText.h"
#include "SqlRows.h"

#include <QString>

#include <initializer_list>
#include <string_view>

// One task row written into an answer as VexoTask::toJson writes the record SqlRows::taskFrom()
// makes of it, for readers that take the columns straight from the database's client library.
namespace TaskRowJson {

// The columns of SqlRows::taskColumns, in order.
enum Column {
    id,
    title,
    description,
    deadline,
    priority,
    status,
    archived,
    archivedAt,
    completedAt,
    createdAt,
    updatedAt,
    source,
    sentToBot,
    folderId,
    userId,
    columnCount
};

// What a column holds, as far as writing it goes; `other` is anything the direct way does not take.
enum class Kind { null, integer, text, other };

// The list's statement for a filter of that shape, with `placeholder(n)` for the n-th parameter
// (from 1): user, archived, then the status and the folder when the filter has them.
inline QString select(bool withStatus, bool withFolder, QString (*placeholder)(int)) {
    QString sql = QStringLiteral("SELECT ") + SqlRows::taskColumns + QStringLiteral(" FROM tasks WHERE user_id = ") +
                  placeholder(1) + QStringLiteral(" AND archived = ") + placeholder(2);
    int n = 2;
    if (withStatus)
        sql += QStringLiteral(" AND status = ") + placeholder(++n);
    if (withFolder)
        sql += QStringLiteral(" AND folder_id = ") + placeholder(++n);
    return sql + QStringLiteral(" ORDER BY created_at DESC, id DESC");
}

// `Row` offers kind(column), text(column) (UTF-8 as the database gives it) and
// writeInteger(out, column). False, with something written, for a row the direct way does not take
// as it is: text that is not valid UTF-8, a number where text belongs or the other way round.
template <class Row> class Writer {
public:
    Writer(const Row& row, JsonText& out)
        : m_row(row)
        , m_out(out) {}

    bool write() {
        m_out.raw(R"({"id":)");
        if (!integer(Column::id, false))
            return false;
        m_out.raw(R"(,"title":)");
        if (!text(Column::title))
            return false;
        if (!optionalText(Column::description, R"(,"description":)") ||
            !optionalText(Column::deadline, R"(,"deadline":)"))
            return false;
        m_out.raw(R"(,"priority":)");
        if (!word(Column::priority, {"high", "medium", "low"}, "medium"))
            return false;
        m_out.raw(R"(,"status":)");
        if (!word(Column::status, {"pending", "done", "cancelled"}, "pending"))
            return false;
        m_out.raw(R"(,"archived":)");
        if (!integer(Column::archived, true) || !optionalText(Column::archivedAt, R"(,"archived_at":)") ||
            !optionalText(Column::completedAt, R"(,"completed_at":)"))
            return false;
        m_out.raw(R"(,"created_at":)");
        if (!text(Column::createdAt) || !optionalText(Column::updatedAt, R"(,"updated_at":)") ||
            !optionalText(Column::source, R"(,"source":)"))
            return false;
        m_out.raw(R"(,"sent_to_bot":)");
        if (!integer(Column::sentToBot, true))
            return false;
        if (m_row.kind(Column::folderId) == Kind::integer) {
            m_out.raw(R"(,"folder_id":)");
            m_row.writeInteger(m_out, Column::folderId);
        } else if (m_row.kind(Column::folderId) != Kind::null) {
            return false;
        }
        m_out.raw(R"(,"user_id":)");
        if (!integer(Column::userId, true))
            return false;
        m_out.raw('}');
        return true;
    }

private:
    // A number; NULL reads as 0 where the record has no absent value.
    bool integer(int column, bool nullIsZero) {
        const Kind kind = m_row.kind(column);
        if (kind == Kind::integer)
            m_row.writeInteger(m_out, column);
        else if (kind == Kind::null && nullIsZero)
            m_out.raw('0');
        else
            return false;
        return true;
    }

    // Text, taken only when it is valid UTF-8: what going to QString and back gives unchanged.
    // NULL reads as empty text where the record has no absent value.
    bool text(int column) {
        const Kind kind = m_row.kind(column);
        if (kind == Kind::null) {
            m_out.raw(R"("")");
            return true;
        }
        return kind == Kind::text && m_out.string(m_row.text(column));
    }

    bool optionalText(int column, std::string_view key) {
        const Kind kind = m_row.kind(column);
        if (kind == Kind::null)
            return true;
        if (kind != Kind::text)
            return false;
        m_out.raw(key);
        return m_out.string(m_row.text(column));
    }

    // One of the enumeration's words; any other text reads as its default.
    bool word(int column, std::initializer_list<std::string_view> words, std::string_view fallback) {
        const Kind kind = m_row.kind(column);
        if (kind != Kind::text && kind != Kind::null)
            return false;
        const std::string_view view = kind == Kind::text ? m_row.text(column) : std::string_view();
        std::string_view chosen = fallback;
        for (const std::string_view known : words) {
            if (view == known)
                chosen = known;
        }
        m_out.raw('"');
        m_out.raw(chosen);
        m_out.raw('"');
        return true;
    }

    const Row& m_row;
    JsonText& m_out;
};

template <class Row> bool write(const Row& row, JsonText& out) {
    return Writer<Row>(row, out).write();
}

} // namespace TaskRowJson
