#pragma once

#include <QString>

namespace Orvane::Social {

/// Why a request failed, for programs to decide by.
enum class FailureCode
{
    SignInNeeded,    ///< nobody is signed in, or the cloud no longer accepts the token
    InvalidRequest,  ///< the parameters make no sense; nothing was asked of the cloud
    InvalidAddress,  ///< the cloud's address is not one that this client understands
    NotFound,        ///< the cloud, or the document in it, is not there
    Refused,         ///< the cloud does not allow it
    Conflict,        ///< the document has changed meanwhile
    QuotaExceeded,   ///< the cloud is full
    Network,         ///< the cloud cannot be reached
    TimedOut,        ///< the cloud does not answer
    Unavailable,     ///< the cloud is there, but out of order or too busy
    Untrusted,       ///< the cloud cannot prove who it is: its certificate is not accepted
    Protocol,        ///< the cloud answered something that makes no sense
    LocalDisk,       ///< a local file cannot be read or written
    Unsupported,     ///< this cloud, or this machine, cannot do it
    OutOfResources,  ///< this machine gives the process no more threads, or no more memory
    InvalidDocument, ///< the document is damaged, encrypted or too large to show
    Canceled         ///< the caller no longer wants it
};

/// One failure: the code, and the raw detail in the words of whoever noticed (a path, a system message).
/// Sentences for people are made by the programs. Never holds a secret.
struct Failure
{
    FailureCode code = FailureCode::InvalidRequest;
    QString detail;
};

/// What was asked of the cloud.
enum class Operation
{
    SignIn,
    UserInfo,
    FileInfo,
    FileList,
    Download,
    Remove,
    Upload,
    Quota,
    Preview
};

} // namespace Orvane::Social
