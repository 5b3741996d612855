#include <OrvaneCloudProtocol/previews/linux/HelperLaunch.h>

#include <OrvaneCloudProtocol/previews/linux/BubblewrapCommand.h>
#include <OrvaneCloudProtocol/previews/linux/ChildProcess.h>
#include <OrvaneCloudProtocol/previews/linux/LandlockRuleset.h>
#include <OrvaneCloudProtocol/previews/linux/ReadableFiles.h>
#include <OrvaneCloudProtocol/previews/linux/SyscallFilter.h>
#include <support/PathText.h>

#include <QFile>

#include <filesystem>
#include <vector>

namespace Orvane::Social {
namespace {

namespace fs = std::filesystem;

class Texts
{
public:
    explicit Texts(const QStringList& texts)
    {
        for (const auto& text : texts)
            m_bytes.push_back(QFile::encodeName(text));
        for (auto& bytes : m_bytes)
            m_pointers.push_back(bytes.data());
        m_pointers.push_back(nullptr);
    }

    [[nodiscard]] char** Pointers() { return m_pointers.data(); }

private:
    std::vector<QByteArray> m_bytes;
    std::vector<char*> m_pointers;
};

fs::path WithoutLinks(const QString& program)
{
    std::error_code error;
    const fs::path name = QFile::encodeName(program).toStdString();
    const auto resolved = fs::canonical(name, error);
    return error ? name : resolved;
}

/// The plan for one command, and what the plan refers to.
class Launch
{
public:
    Launch(const HelperProcess::Command& command, const HelperDescriptors& descriptors)
        : m_program(WithoutLinks(command.program))
        , m_line(QStringList(Support::ToText(m_program)) + command.arguments)
        , m_environment(command.environment.toStringList())
    {
        m_plan.descriptors = {descriptors.input, descriptors.output, descriptors.errorOutput};
        m_plan.limits = {{RLIMIT_CORE, 0},
                         {RLIMIT_FSIZE, 0}, // pipes have no size
                         {RLIMIT_CPU, static_cast<rlim_t>(command.limits.cpuTime.count())},
                         {RLIMIT_AS, command.limits.memoryBytes}};
        Confine(command.limits.confinement, descriptors);
    }

    [[nodiscard]] pid_t Start()
    {
        Texts arguments(m_line);
        m_plan.arguments = arguments.Pointers();
        m_plan.environment = m_environment.Pointers();
        return StartChild(m_plan);
    }

private:
    void Confine(PreviewConfinement kind, const HelperDescriptors& descriptors)
    {
        switch (kind) {
        case PreviewConfinement::Bubblewrap:
            return UseBubblewrap(descriptors);
        case PreviewConfinement::Landlock:
            m_ruleset = MakeLandlockRuleset(FilesToRun(m_program), descriptors.input);
            m_plan.landlockRuleset = m_ruleset.Number();
            [[fallthrough]];
        case PreviewConfinement::Seccomp:
            m_plan.syscallFilter = &HelperSyscallFilter();
            return;
        case PreviewConfinement::Limits:
            m_plan.limits.emplace_back(RLIMIT_NPROC, 0); // does not hold for root
        }
    }

    void UseBubblewrap(const HelperDescriptors& descriptors)
    {
        m_line = BubblewrapCommand(m_line, FilesToRun(m_program));
        m_filter = HelperSyscallFilterFile();
        m_plan.descriptors.push_back(m_filter.Number());
        m_plan.descriptors.push_back(descriptors.status);
        m_plan.descriptors.push_back(descriptors.life);
        m_plan.keepsRights = true; // it needs them, and gives them up for the program
        // Killed alone, it may leave a process behind: the guard kills both.
        m_plan.outlivesThread = true;
    }

    const fs::path m_program;
    QStringList m_line;
    Texts m_environment;
    Descriptor m_ruleset;
    Descriptor m_filter;
    ChildPlan m_plan = {};
};

} // namespace

pid_t StartHelper(const HelperProcess::Command& command, const HelperDescriptors& descriptors)
{
    return Launch(command, descriptors).Start();
}

} // namespace Orvane::Social
