#pragma once

#include "HttpReply.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QList>
#include <QPair>

#include <functional>

struct ApiRequest;

// Conditional reads (RFC 9110): a strong entity tag for an answer, computed without building it,
// and If-None-Match, so that a client polling an unchanged list gets 304 and no body.
namespace EntityTag {

// A quoted tag of `parts` joined with '-', after the service's version: an answer encoded
// differently by another version never matches. Parts must be visible ASCII without '"'.
QByteArray make(const QByteArrayList& parts);
// Whether any If-None-Match field among `headers` matches `tag`: "*", or the tag itself in the list,
// compared weakly (a W/ prefix on either side is ignored). A malformed field matches nothing.
bool noneMatchHits(const QList<QPair<QByteArray, QByteArray>>& headers, const QByteArray& tag);
// 304 with the tag when the request's If-None-Match hits it; otherwise what `build` answers, with
// the tag on a 200.
HttpReply answer(const ApiRequest& request, const QByteArray& tag, const std::function<HttpReply()>& build);

} // namespace EntityTag
