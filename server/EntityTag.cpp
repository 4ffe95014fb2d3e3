#include "EntityTag.h"

#include "ApiRequest.h"

namespace {

// The opaque part of one of our tags, without its quotes.
QByteArrayView opaque(QByteArrayView tag) {
    return tag.sliced(1, tag.size() - 2);
}

bool isEtagChar(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte == 0x21 || (byte >= 0x23 && byte != 0x7F);
}

// Whether one If-None-Match field value lists `wanted` (or is "*"). Parsed strictly: any element
// that is not an entity tag makes the whole field match nothing.
bool fieldHits(QByteArrayView value, QByteArrayView wanted) {
    bool hit = false;
    qsizetype i = 0;
    const auto skipSeparators = [&] {
        while (i < value.size() && (value[i] == ' ' || value[i] == '\t' || value[i] == ','))
            ++i;
    };
    for (skipSeparators(); i < value.size(); skipSeparators()) {
        if (value[i] == '*') {
            ++i;
            hit = true;
        } else {
            if (value.sliced(i).startsWith("W/"))
                i += 2;
            if (i >= value.size() || value[i] != '"')
                return false;
            const qsizetype start = ++i;
            while (i < value.size() && value[i] != '"') {
                if (!isEtagChar(value[i]))
                    return false;
                ++i;
            }
            if (i >= value.size())
                return false;
            hit = hit || value.sliced(start, i - start) == wanted;
            ++i;
        }
        if (i < value.size() && value[i] != ',' && value[i] != ' ' && value[i] != '\t')
            return false;
    }
    return hit;
}

} // namespace

namespace EntityTag {

QByteArray make(const QByteArrayList& parts) {
    return '"' + QByteArrayLiteral(VEXO_VERSION) + '-' + parts.join('-') + '"';
}

bool noneMatchHits(const QList<QPair<QByteArray, QByteArray>>& headers, const QByteArray& tag) {
    const QByteArrayView wanted = opaque(tag);
    for (const auto& [name, value] : headers) {
        if (name.compare("If-None-Match", Qt::CaseInsensitive) == 0 && fieldHits(value, wanted))
            return true;
    }
    return false;
}

HttpReply answer(const ApiRequest& request, const QByteArray& tag, const std::function<HttpReply()>& build) {
    if (noneMatchHits(request.headers, tag)) {
        HttpReply reply;
        reply.status = 304;
        reply.headers.append({"ETag", tag});
        return reply;
    }
    HttpReply reply = build();
    if (reply.status == 200)
        reply.headers.append({"ETag", tag});
    return reply;
}

} // namespace EntityTag
