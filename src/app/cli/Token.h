#pragma once

#include "Problem.h"

#include <QString>

#include <variant>

namespace Orvane::CommandLine {

/// How the token is going to be sent.
enum class TokenKind
{
    Bearer,  ///< visible ASCII characters; blanks around it are no part of it
    Password ///< of a user: any text in UTF-8 without control characters, blanks included
};

/// Whether there is a file or a variable to take a token from.
[[nodiscard]] bool IsTokenGiven(const QString& tokenFile);

/// The token to sign in with: the first line of the file, or, without one, what the environment holds; empty
/// when there is neither. A problem when the file does not hold a token. Takes the token out of the
/// environment, so that helper programs do not inherit it, and leaves no other copy of it in memory.
[[nodiscard]] std::variant<QString, Problem> TakeToken(const QString& tokenFile, TokenKind kind);

/// A warning when others on this machine can read the file; empty otherwise.
[[nodiscard]] QString TokenFileWarning(const QString& tokenFile);

/// The cloud wants a token and none was given.
[[nodiscard]] Problem TokenMissing();

} // namespace Orvane::CommandLine
