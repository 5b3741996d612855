#pragma once

#include <QString>

namespace CLI {
class App;
}

namespace Orvane::CommandLine {

/// A script that teaches a shell ("bash", "zsh" or "fish") to complete this command line. Made from the
/// command line's definition, so that it always fits it.
[[nodiscard]] QString CompletionScript(const CLI::App& app, const QString& shell);

} // namespace Orvane::CommandLine
