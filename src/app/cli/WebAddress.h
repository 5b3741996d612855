#pragma once

#include "Problem.h"

#include <QString>

#include <optional>

namespace Orvane::CommandLine {

/// Whether the address is meant to be one on the web: "https:…" or "http:…".
[[nodiscard]] bool IsWebAddress(const QString& cloud);

/// What must be said of the user's address before anything is done with it: that it holds a name or a
/// password, or is no web address although it begins like one. Never repeats the address, which may hold a
/// secret. Other addresses are left to the client.
[[nodiscard]] std::optional<Problem> CheckAddress(const QString& cloud);

/// One spelling for one web address, so that it has one list however it is written: scheme and host in lower
/// case, no usual port, one "/" at the end and between names. For addresses that have been checked.
[[nodiscard]] QString ToOneSpelling(const QString& webAddress);

} // namespace Orvane::CommandLine
