#include "SystemCalls.h"

#include "RawCall.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Orvane::Torture {
namespace {

enum class About
{
    Path,          ///< the first argument is a path
    PathAt,        ///< a folder's descriptor, then a path
    Descriptor,    ///< the first argument is an open file, pipe or connection
    Connection,    ///< the same, but only connections count
    NewConnection, ///< the first argument is a kind of socket
    Anything
};

struct Row
{
    long number;
    const char* name;
    About about;
    unsigned outcomes;
};

constexpr unsigned kReading = IoError | Interrupted | Short;
constexpr unsigned kWriting = Killed | Torn | IoError | NoSpace | Interrupted | Short;
constexpr unsigned kOpening = Killed | IoError | NoSpace | NoFiles | NoAccess | Interrupted;
constexpr unsigned kNaming = Killed | IoError | NoSpace | NoAccess;
constexpr unsigned kLooking = IoError | NoAccess;
constexpr unsigned kSending = Killed | Torn | Reset | Interrupted | Short;
constexpr unsigned kReceiving = Reset | Interrupted | Short;

constexpr Row kRows[] = {
    {SYS_open, "open", About::Path, kOpening},
    {SYS_openat, "openat", About::PathAt, kOpening},
    {SYS_close, "close", About::Descriptor, IoError | Interrupted},
    {SYS_read, "read", About::Descriptor, kReading},
    {SYS_pread64, "pread", About::Descriptor, kReading},
    {SYS_readv, "readv", About::Descriptor, kReading & ~Short},
    {SYS_write, "write", About::Descriptor, kWriting},
    {SYS_pwrite64, "pwrite", About::Descriptor, kWriting},
    {SYS_writev, "writev", About::Descriptor, kWriting & ~(Torn | Short)},
    {SYS_sendfile, "sendfile", About::Descriptor, kWriting},
    {SYS_copy_file_range, "copy_file_range", About::Descriptor, kWriting},
    {SYS_fsync, "fsync", About::Descriptor, Killed | IoError | NoSpace},
    {SYS_fdatasync, "fdatasync", About::Descriptor, Killed | IoError | NoSpace},
    {SYS_ftruncate, "ftruncate", About::Descriptor, Killed | IoError | NoSpace | Interrupted},
    {SYS_truncate, "truncate", About::Path, kNaming | Interrupted},
    {SYS_fallocate, "fallocate", About::Descriptor, Killed | IoError | NoSpace | Interrupted},
    {SYS_rename, "rename", About::Path, kNaming},
    {SYS_renameat, "renameat", About::PathAt, kNaming},
    {SYS_renameat2, "renameat2", About::PathAt, kNaming},
    {SYS_link, "link", About::Path, kNaming},
    {SYS_linkat, "linkat", About::PathAt, kNaming},
    {SYS_unlink, "unlink", About::Path, kNaming & ~NoSpace},
    {SYS_unlinkat, "unlinkat", About::PathAt, kNaming & ~NoSpace},
    {SYS_rmdir, "rmdir", About::Path, kNaming & ~NoSpace},
    {SYS_mkdir, "mkdir", About::Path, kNaming},
    {SYS_mkdirat, "mkdirat", About::PathAt, kNaming},
    {SYS_chmod, "chmod", About::Path, kNaming & ~NoSpace},
    {SYS_fchmod, "fchmod", About::Descriptor, kNaming & ~NoSpace},
    {SYS_fchmodat, "fchmodat", About::PathAt, kNaming & ~NoSpace},
    {SYS_utimensat, "utimensat", About::PathAt, kNaming & ~NoSpace},
    {SYS_stat, "stat", About::Path, kLooking},
    {SYS_lstat, "lstat", About::Path, kLooking},
    {SYS_newfstatat, "fstatat", About::PathAt, kLooking},
    {SYS_statx, "statx", About::PathAt, kLooking},
    {SYS_fstat, "fstat", About::Descriptor, IoError},
    {SYS_statfs, "statfs", About::Path, kLooking | Interrupted},
    {SYS_fstatfs, "fstatfs", About::Descriptor, IoError | Interrupted},
    {SYS_access, "access", About::Path, kLooking},
    {SYS_faccessat, "faccessat", About::PathAt, kLooking},
    {SYS_faccessat2, "faccessat2", About::PathAt, kLooking},
    {SYS_readlink, "readlink", About::Path, kLooking},
    {SYS_readlinkat, "readlinkat", About::PathAt, kLooking},
    {SYS_getdents64, "getdents", About::Descriptor, IoError},
    {SYS_flock, "flock", About::Descriptor, Interrupted},
    {SYS_fcntl, "fcntl", About::Descriptor, IoError | Interrupted},
    {SYS_pipe2, "pipe2", About::Anything, NoFiles},
    {SYS_poll, "poll", About::Anything, Interrupted},
    {SYS_ppoll, "ppoll", About::Anything, Interrupted},
    {SYS_socket, "socket", About::NewConnection, NoFiles | NoAccess},
    {SYS_connect, "connect", About::Connection, Killed | NoAccess | Interrupted},
    {SYS_sendto, "send", About::Connection, kSending},
    {SYS_sendmsg, "sendmsg", About::Connection, kSending & ~(Torn | Short)},
    {SYS_recvfrom, "receive", About::Connection, kReceiving},
    {SYS_recvmsg, "recvmsg", About::Connection, kReceiving & ~Short},
    {SYS_shutdown, "shutdown", About::Connection, Killed},
    {kMakeThread, "a thread's start", About::Anything, NoThread},
    {kMakeProcess, "a process's start", About::Anything, NoThread},
};

bool IsBelow(const char* path, const char* folder)
{
    const auto length = std::strlen(folder);
    return std::strncmp(path, folder, length) == 0 && (path[length] == '/' || path[length] == '\0');
}

/// What /proc says: a path, or "socket:[…]", "pipe:[…]", "anon_inode:…".
void FindDescriptor(long descriptor, char* found)
{
    char link[64];
    std::snprintf(link, sizeof link, "/proc/self/fd/%ld", descriptor);
    const long length = OrvaneRawCall(SYS_readlink, AsArgument(link), AsArgument(found), kLongestSubject - 1);
    found[std::max(length, 0L)] = '\0';
}

void CopyText(const char* from, char* to)
{
    std::snprintf(to, kLongestSubject, "%s", from);
}

/// @param path  from the root, from the folder that is open as the descriptor, or empty for what is open
/// there
void FindPathAt(long descriptor, const char* path, char* found)
{
    if (path && path[0] == '/') {
        CopyText(path, found);
        return;
    }
    FindDescriptor(descriptor, found);
    const auto length = std::strlen(found);
    if (path && path[0] != '\0')
        std::snprintf(found + length, kLongestSubject - length, "/%s", path);
}

bool IsStandardStream(long descriptor)
{
    return descriptor >= STDIN_FILENO && descriptor <= STDERR_FILENO;
}

bool IsConnection(const char* subject)
{
    return std::strncmp(subject, "socket:", 7) == 0;
}

bool IsOurs(const char* subject, const char* folder)
{
    return IsBelow(subject, folder) || IsConnection(subject) || std::strncmp(subject, "pipe:", 5) == 0;
}

/// Finds what the call is about. Returns whether that is of the trial.
bool FindSubject(const Row& row, const Call& call, const char* folder, char* subject)
{
    const auto pathOf = [&call](int argument) {
        return reinterpret_cast<const char*>(call.arguments[argument]);
    };
    switch (row.about) {
    case About::Path:
        CopyText(pathOf(0), subject);
        return IsBelow(subject, folder);
    case About::PathAt:
        FindPathAt(call.arguments[0], pathOf(1), subject);
        return IsBelow(subject, folder);
    case About::Descriptor:
        FindDescriptor(call.arguments[0], subject);
        return !IsStandardStream(call.arguments[0]) && IsOurs(subject, folder);
    case About::Connection:
        FindDescriptor(call.arguments[0], subject);
        return IsConnection(subject);
    case About::NewConnection:
        CopyText("socket:", subject);
        return call.arguments[0] == AF_INET;
    case About::Anything:
        break;
    }
    subject[0] = '\0';
    return true;
}

bool IsLock(long command)
{
    return command == F_SETLK || command == F_SETLKW || command == F_OFD_SETLK || command == F_OFD_SETLKW;
}

/// The same call can change something, or not.
unsigned OutcomesOf(const Row& row, const Call& call, const char* subject)
{
    if (row.number == SYS_open || row.number == SYS_openat) {
        const long flags = call.arguments[row.number == SYS_open ? 1 : 2];
        return (flags & (O_CREAT | O_TRUNC)) != 0 ? row.outcomes : row.outcomes & ~(Killed | NoSpace);
    }
    if (row.number == SYS_fcntl)
        return IsLock(call.arguments[1]) ? row.outcomes : 0;
    if (IsConnection(subject) && row.about == About::Descriptor)
        return row.number == SYS_read ? kReceiving : row.number == SYS_write ? kSending : 0;
    return row.outcomes;
}

} // namespace

CallDescription Describe(const Call& call, const char* folder)
{
    CallDescription description{"", 0, {}};
    const auto* row = std::find_if(std::begin(kRows), std::end(kRows),
                                   [&call](const Row& candidate) { return candidate.number == call.number; });
    if (row == std::end(kRows) || !FindSubject(*row, call, folder, description.subject))
        return description;
    description.name = row->name;
    description.outcomes = OutcomesOf(*row, call, description.subject);
    return description;
}

} // namespace Orvane::Torture
