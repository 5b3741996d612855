// A program that tries what one that renders pages has no business doing, and prints a line for each attempt
// that was successful. Started as:  SECRET FOLDER PROCESS
//
// SECRET is a file of the user, FOLDER a folder where the user may write, PROCESS the user's application.

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <dirent.h>
#include <fcntl.h>
#include <linux/capability.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

void Report(const char* attempt, bool isDone)
{
    if (isDone)
        std::puts(attempt);
}

bool HasConnection(int domain, int type)
{
    return ::socket(domain, type, 0) >= 0;
}

bool HasPair()
{
    std::array<int, 2> ends;
    return ::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) == 0;
}

/// Of a fork or the like: the new process ends, the old one waits for it.
bool HasSplit(long process)
{
    if (process == 0)
        ::_exit(0);
    return process > 0 && ::waitpid(static_cast<pid_t>(process), nullptr, __WALL) == process;
}

long Clone3()
{
    std::array<unsigned long long, 8> arguments = {0, 0, 0, 0, SIGCHLD};
    return ::syscall(SYS_clone3, arguments.data(), sizeof arguments);
}

bool HasOpened(const std::string& file, int flags)
{
    return ::open(file.c_str(), flags, 0600) >= 0;
}

bool HasWritten(const std::string& file)
{
    const int descriptor = ::open(file.c_str(), O_WRONLY | O_CREAT, 0600);
    return descriptor >= 0 && ::write(descriptor, "x", 1) == 1;
}

bool HasListed(const std::string& folder)
{
    DIR* const open = ::opendir(folder.c_str());
    return open && ::readdir(open);
}

bool HasForeignDescriptor()
{
    for (int number = 3; number < 1024; ++number)
        if (::fcntl(number, F_GETFD) >= 0)
            return true;
    return false;
}

/// More than reading what belongs to others, which a document may do.
bool HasRootsRights()
{
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> rights = {};
    ::syscall(SYS_capget, &header, rights.data());
    return (rights[0].permitted & ~(1U << CAP_DAC_READ_SEARCH)) != 0 || rights[1].permitted != 0;
}

} // namespace

int main(int count, char* arguments[])
{
    if (count != 4)
        return EXIT_FAILURE;
    std::signal(SIGXFSZ, SIG_IGN);
    const std::string secret = arguments[1];
    const std::string folder = arguments[2];
    const auto application = static_cast<pid_t>(std::atoi(arguments[3]));

    Report("has a descriptor of the application", HasForeignDescriptor());
    Report("may get new rights", ::prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0) == 0);
    Report("has root's rights", HasRootsRights());
    Report("writes a file", HasWritten(folder + "/written"));
    Report("writes in its own folder", HasWritten("written"));
    for (char** variable = environ; *variable; ++variable)
        Report(*variable, std::strncmp(*variable, "PWD=", 4) != 0); // that is the sandbox's

    Report("connects", HasConnection(AF_INET, SOCK_STREAM));
    Report("sends", HasConnection(AF_INET6, SOCK_DGRAM));
    Report("connects to a program", HasConnection(AF_UNIX, SOCK_STREAM));
    Report("talks to the kernel", HasConnection(AF_NETLINK, SOCK_RAW));
    Report("makes a pair", HasPair());
    std::fflush(stdout); // once, not in each process
    Report("forks", HasSplit(::fork()));
    Report("clones", HasSplit(Clone3()));
    Report("signals", ::kill(application, 0) == 0);
    Report("leaves its session", ::setsid() >= 0 || ::setpgid(0, 0) == 0);
    Report("outlives", ::prctl(PR_SET_PDEATHSIG, 0) == 0);
    Report("makes a file", HasOpened(folder + "/made", O_RDONLY | O_CREAT));
    Report("makes a link", ::symlink("x", (folder + "/link").c_str()) == 0);
    Report("makes a folder", ::mkdir((folder + "/folder").c_str(), 0700) == 0);
    Report("opens for writing", HasOpened(secret, O_WRONLY));
    Report("changes a mode", ::chmod(secret.c_str(), 0777) == 0);
    Report("changes a time", ::utimensat(AT_FDCWD, secret.c_str(), nullptr, 0) == 0);
    Report("truncates", ::truncate(secret.c_str(), 0) == 0);
    Report("truncates while opening", HasOpened(secret, O_RDONLY | O_TRUNC));
    Report("renames", ::rename(secret.c_str(), (secret + "2").c_str()) == 0 &&
                          ::rename((secret + "2").c_str(), secret.c_str()) == 0);

    Report("reads a file", HasOpened(secret, O_RDONLY));
    Report("lists a folder", HasListed(folder));
    Report("looks at processes", HasListed("/proc/" + std::string(arguments[3])));
}
