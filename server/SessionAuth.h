#pragma once

#include "Storage.h"

#include <QByteArray>

// The signed-in user of an Authorization field ("Bearer <session token>"); throws ServerError
// (unauthorized) with the message the client shows when there is no token or it is unknown.
StoredUser sessionUser(Storage& storage, const QByteArray& authorization);
