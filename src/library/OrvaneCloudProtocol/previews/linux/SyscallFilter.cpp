#include <OrvaneCloudProtocol/previews/linux/SyscallFilter.h>

#include <OrvaneCloudProtocol/transports/Job.h>

#include <cerrno>
#include <cstdint>
#include <memory>
#include <system_error>

#include <fcntl.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>

namespace Orvane::Social {
namespace {

using Context = std::remove_pointer_t<scmp_filter_ctx>;
using Filter = std::vector<sock_filter>;

constexpr std::uint32_t kRefuse = SCMP_ACT_ERRNO(EPERM);
constexpr std::uint32_t kUnknown = SCMP_ACT_ERRNO(ENOSYS); // the C library then takes the older call

// Landlock knows nothing of modes, owners, times and attributes, and early versions nothing of truncating.
constexpr int kRefused[] = {
    // connections
    SCMP_SYS(socket), SCMP_SYS(socketpair), SCMP_SYS(socketcall), SCMP_SYS(io_uring_setup),
    // processes, and memory and messages that others share
    SCMP_SYS(fork), SCMP_SYS(vfork), SCMP_SYS(kill), SCMP_SYS(tkill), SCMP_SYS(tgkill),
    SCMP_SYS(rt_sigqueueinfo), SCMP_SYS(rt_tgsigqueueinfo), SCMP_SYS(pidfd_open), SCMP_SYS(pidfd_getfd),
    SCMP_SYS(pidfd_send_signal), SCMP_SYS(ptrace), SCMP_SYS(process_vm_readv), SCMP_SYS(process_vm_writev),
    SCMP_SYS(setsid), SCMP_SYS(setpgid), SCMP_SYS(ipc), SCMP_SYS(shmget), SCMP_SYS(shmat), SCMP_SYS(msgget),
    SCMP_SYS(semget), SCMP_SYS(mq_open), SCMP_SYS(mq_unlink), SCMP_SYS(keyctl), SCMP_SYS(add_key),
    SCMP_SYS(request_key),
    // files
    SCMP_SYS(creat), SCMP_SYS(truncate), SCMP_SYS(truncate64), SCMP_SYS(mknod), SCMP_SYS(mknodat),
    SCMP_SYS(mkdir), SCMP_SYS(mkdirat), SCMP_SYS(rmdir), SCMP_SYS(unlink), SCMP_SYS(unlinkat),
    SCMP_SYS(rename), SCMP_SYS(renameat), SCMP_SYS(renameat2), SCMP_SYS(link), SCMP_SYS(linkat),
    SCMP_SYS(symlink), SCMP_SYS(symlinkat), SCMP_SYS(chmod), SCMP_SYS(fchmod), SCMP_SYS(fchmodat),
    SCMP_SYS(chown), SCMP_SYS(fchown), SCMP_SYS(lchown), SCMP_SYS(fchownat), SCMP_SYS(utime),
    SCMP_SYS(utimes), SCMP_SYS(futimesat), SCMP_SYS(utimensat), SCMP_SYS(setxattr), SCMP_SYS(lsetxattr),
    SCMP_SYS(fsetxattr), SCMP_SYS(removexattr), SCMP_SYS(lremovexattr), SCMP_SYS(fremovexattr),
    SCMP_SYS(open_by_handle_at),
    // the system
    SCMP_SYS(mount), SCMP_SYS(umount2), SCMP_SYS(pivot_root), SCMP_SYS(chroot), SCMP_SYS(unshare),
    SCMP_SYS(setns), SCMP_SYS(open_tree), SCMP_SYS(move_mount), SCMP_SYS(fsopen), SCMP_SYS(fsmount),
    SCMP_SYS(bpf), SCMP_SYS(perf_event_open), SCMP_SYS(userfaultfd)};

// Calls that the library does not know yet; their numbers are the same on all processors.
constexpr int kNewer[] = {452 /* fchmodat2 */, 463 /* setxattrat */, 466 /* removexattrat */,
                          467 /* open_tree_attr */, 469 /* file_setattr */};

/// Makes the rules; each throws when it cannot.
class Rules
{
public:
    Rules()
    {
        if (!m_context)
            throw std::system_error(ENOMEM, std::generic_category());
    }

    void Add(std::uint32_t action, int call) { Check(::seccomp_rule_add(Get(), action, call, 0)); }

    void Add(std::uint32_t action, int call, const scmp_arg_cmp& when)
    {
        Check(::seccomp_rule_add(Get(), action, call, 1, when));
    }

    [[nodiscard]] Filter Export() const
    {
        const Descriptor file(::memfd_create("filter", MFD_CLOEXEC));
        Check(file.IsOpen() ? ::seccomp_export_bpf(Get(), file.Number()) : -errno);
        const auto size = ::lseek(file.Number(), 0, SEEK_END);
        Filter filter(static_cast<std::size_t>(size) / sizeof(sock_filter));
        const auto count = ::pread(file.Number(), filter.data(), filter.size() * sizeof(sock_filter), 0);
        Check(count == size ? 0 : -EIO);
        return filter;
    }

private:
    [[nodiscard]] scmp_filter_ctx Get() const { return m_context.get(); }

    static void Check(int result)
    {
        if (result < 0)
            throw std::system_error(-result, std::generic_category());
    }

    const std::unique_ptr<Context, decltype(&::seccomp_release)> m_context{::seccomp_init(SCMP_ACT_ALLOW),
                                                                           &::seccomp_release};
};

Filter MakeFilter()
{
    Rules rules;
    for (const int call : kRefused)
        rules.Add(kRefuse, call);
    for (const int call : kNewer)
        rules.Add(kUnknown, call);

    rules.Add(kUnknown, SCMP_SYS(clone3)); // a filter cannot read the flags that it points to
    rules.Add(kRefuse, SCMP_SYS(clone), {0, SCMP_CMP_MASKED_EQ, CLONE_THREAD, 0});
    rules.Add(kRefuse, SCMP_SYS(prctl), {0, SCMP_CMP_EQ, PR_SET_PDEATHSIG, 0});

    rules.Add(kUnknown, SCMP_SYS(openat2));
    for (const int flag : {O_WRONLY, O_RDWR, O_CREAT, O_TRUNC}) {
        const auto bits = static_cast<scmp_datum_t>(flag);
        rules.Add(kRefuse, SCMP_SYS(open), {1, SCMP_CMP_MASKED_EQ, bits, bits});
        rules.Add(kRefuse, SCMP_SYS(openat), {2, SCMP_CMP_MASKED_EQ, bits, bits});
    }
    return rules.Export();
}

} // namespace

const Filter& HelperSyscallFilter()
{
    try {
        static const Filter filter = MakeFilter();
        return filter;
    } catch (const std::system_error& error) {
        throw CloudError(FailureCode::Unsupported,
                         QStringLiteral("no filter of system calls: ") + QString::fromUtf8(error.what()));
    }
}

Descriptor HelperSyscallFilterFile()
{
    const Filter& filter = HelperSyscallFilter();
    Descriptor file(::memfd_create("filter", MFD_CLOEXEC));
    const auto size = filter.size() * sizeof(sock_filter);
    if (::write(file.Number(), filter.data(), size) != static_cast<ssize_t>(size) ||
        ::lseek(file.Number(), 0, SEEK_SET) != 0)
        throw CloudError(FailureCode::Unsupported,
                         QString::fromStdString(std::generic_category().message(errno)));
    return file;
}

} // namespace Orvane::Social
