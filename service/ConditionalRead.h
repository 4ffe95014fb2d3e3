#pragma once

#include <QByteArray>

#include <optional>

// The answer to a read sent with the entity tag of an earlier answer to the same request: either
// "not modified" (the service still holds what that tag named, and sent no body) or a new value with
// the tag it came with.
template <class T> struct ConditionalRead {
    bool notModified = false;
    // Present exactly when notModified is false.
    std::optional<T> value;
    // The tag the answer carried (the one sent, for "not modified"); empty when the service sent none.
    QByteArray etag;
};
