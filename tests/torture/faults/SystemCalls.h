#pragma once

namespace Orvane::Torture {

constexpr int kMostArguments = 6;

/// A system call that the program is about to make, or the making of a thread or a process.
struct Call
{
    long number;
    long arguments[kMostArguments];
};

constexpr long kMakeThread = -1; ///< stands for the call's number
constexpr long kMakeProcess = -2;

/// Ways in which a call can go wrong; bits.
enum Outcome : unsigned
{
    Killed = 1U << 0,      ///< the process ends before the call
    Torn = 1U << 1,        ///< the process ends after half of the call's bytes
    Short = 1U << 2,       ///< the call moves half of its bytes
    IoError = 1U << 3,     ///< EIO
    NoSpace = 1U << 4,     ///< ENOSPC
    NoFiles = 1U << 5,     ///< EMFILE
    NoAccess = 1U << 6,    ///< EACCES
    Interrupted = 1U << 7, ///< EINTR
    Reset = 1U << 8,       ///< ECONNRESET
    NoThread = 1U << 9     ///< EAGAIN
};

constexpr int kLongestSubject = 512;

/// What a call is and can do, as far as it concerns the files and connections of a trial.
struct CallDescription
{
    const char* name;
    unsigned outcomes;             ///< 0: it is none of ours
    char subject[kLongestSubject]; ///< the file or the kind of descriptor it is about
};

/// @param folder  the files of a trial lie below it; without a slash at the end
CallDescription Describe(const Call& call, const char* folder);

} // namespace Orvane::Torture
