#pragma once

#include <QStringList>

#include <filesystem>
#include <vector>

namespace Orvane::Social {

/// Descriptors that bubblewrap itself uses; the program that it starts does not get them.
constexpr int kBubblewrapFilter = 3; ///< it reads the filter of system calls from it
constexpr int kBubblewrapStatus = 4; ///< it says there how far it has come
constexpr int kBubblewrapLife = 5;   ///< nothing comes from it, until the application has gone

/// The command line, program first, that runs @p command in namespaces of its own, where nothing is but
/// @p readable. Throws CloudError (Unsupported) when bubblewrap is not installed.
[[nodiscard]] QStringList BubblewrapCommand(const QStringList& command,
                                            const std::vector<std::filesystem::path>& readable);

} // namespace Orvane::Social
