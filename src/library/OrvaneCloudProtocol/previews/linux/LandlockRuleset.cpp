#include <OrvaneCloudProtocol/previews/linux/LandlockRuleset.h>

#include <OrvaneCloudProtocol/transports/Job.h>

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <linux/landlock.h>
#include <sys/stat.h>
#include <sys/syscall.h>

namespace Orvane::Social {
namespace {

constexpr std::uint64_t kReadFile = LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_EXECUTE;
constexpr std::uint64_t kReadFolder = kReadFile | LANDLOCK_ACCESS_FS_READ_DIR;

// What the first version of Landlock knows. Moving a file elsewhere is refused by it in any case; for the
// rest there is the filter of system calls.
constexpr std::uint64_t kRefusedElsewhere =
    kReadFolder | LANDLOCK_ACCESS_FS_WRITE_FILE | LANDLOCK_ACCESS_FS_REMOVE_DIR |
    LANDLOCK_ACCESS_FS_REMOVE_FILE | LANDLOCK_ACCESS_FS_MAKE_CHAR | LANDLOCK_ACCESS_FS_MAKE_DIR |
    LANDLOCK_ACCESS_FS_MAKE_REG | LANDLOCK_ACCESS_FS_MAKE_SOCK | LANDLOCK_ACCESS_FS_MAKE_FIFO |
    LANDLOCK_ACCESS_FS_MAKE_BLOCK | LANDLOCK_ACCESS_FS_MAKE_SYM;

[[noreturn]] void Refuse(const char* what)
{
    throw CloudError(FailureCode::Unsupported,
                     QString::fromLatin1(what) + QStringLiteral(": ") +
                         QString::fromStdString(std::generic_category().message(errno)));
}

void Allow(const Descriptor& ruleset, int file, std::uint64_t access)
{
    const landlock_path_beneath_attr rule{access, file};
    if (::syscall(SYS_landlock_add_rule, ruleset.Number(), LANDLOCK_RULE_PATH_BENEATH, &rule, 0) != 0)
        Refuse("landlock_add_rule");
}

void AllowReading(const Descriptor& ruleset, const std::filesystem::path& path)
{
    const Descriptor file(::open(path.c_str(), O_PATH | O_CLOEXEC));
    struct stat status = {};
    if (file.IsOpen() && ::fstat(file.Number(), &status) == 0)
        Allow(ruleset, file.Number(), S_ISDIR(status.st_mode) ? kReadFolder : kReadFile);
}

} // namespace

Descriptor MakeLandlockRuleset(const std::vector<std::filesystem::path>& readable, int input)
{
    landlock_ruleset_attr attributes = {};
    attributes.handled_access_fs = kRefusedElsewhere;
    Descriptor ruleset(
        static_cast<int>(::syscall(SYS_landlock_create_ruleset, &attributes, sizeof attributes, 0)));
    if (!ruleset.IsOpen())
        Refuse("landlock_create_ruleset");
    for (const auto& path : readable)
        AllowReading(ruleset, path);
    Allow(ruleset, input, LANDLOCK_ACCESS_FS_READ_FILE);
    return ruleset;
}

} // namespace Orvane::Social
