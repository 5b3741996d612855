#pragma once

namespace Orvane::CommandLine {

/// What the program tells the shell. Part of its interface: numbers never change their meaning.
enum class ExitCode : int
{
    Done = 0,
    Failed = 1,
    Usage = 2,
    NotFound = 3,
    SignInNeeded = 4,
    CloudTrouble = 5, ///< the cloud cannot be reached, does not answer, refuses, or answers nonsense
    Conflict = 6,     ///< something stands in the way, or has changed meanwhile
    QuotaExceeded = 7,
    LocalDisk = 8,
    Interrupted = 130
};

} // namespace Orvane::CommandLine
