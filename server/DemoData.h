#pragma once

#include "ServerContext.h"

// A demonstration account: an administrator with folders, about forty varied tasks around the
// present moment, image attachments and an avatar. Created once per data folder.
namespace DemoData {

inline constexpr auto telegramId = "100000001";

// Creates the account when missing; returns its user id.
qint64 ensure(ServerContext& context);

} // namespace DemoData
