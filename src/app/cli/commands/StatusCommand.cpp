#include "StatusCommand.h"

#include "../Console.h"
#include "../FailureText.h"
#include "../Locations.h"
#include "../Options.h"
#include "../PrintableText.h"
#include "../WebAddress.h"

#include <OrvaneCloudProtocol/PreviewConfinement.h>
#include <support/PathText.h>

#include <QMap>
#include <QStringList>

namespace Orvane::CommandLine {

using PDF::Cloud::OrvaneCloudManager;
using Social::FailureCode;
using Social::Operation;

namespace {

QMap<QString, int> CountByState(const QVector<DocumentRow>& rows)
{
    QMap<QString, int> counts;
    for (const DocumentRow& row : rows)
        ++counts[StateText(row.state)];
    return counts;
}

QJsonObject CountsJson(const QVector<DocumentRow>& rows)
{
    const QMap<QString, int> counts = CountByState(rows);
    QJsonObject object;
    for (auto entry = counts.begin(); entry != counts.end(); ++entry)
        object.insert(entry.key(), entry.value());
    return object;
}

QString ProtectionText(const std::optional<Social::CloudGuarantees>& guarantees)
{
    if (!guarantees)
        return QStringLiteral("not known yet; it is learnt with the first upload");
    QStringList gaps;
    if (!guarantees->areNewNamesProtected)
        gaps.append(
            QStringLiteral("a new document may replace one that another program puts under the same name "
                           "in the same moment"));
    if (!guarantees->areReplacementsProtected)
        gaps.append(
            QStringLiteral("of two programs that replace one document in the same moment, one may lose "
                           "its version"));
    if (gaps.isEmpty())
        return QStringLiteral("the cloud itself keeps programs from overwriting each other's documents");
    return QStringLiteral("this cloud cannot promise everything: ") + gaps.join(QStringLiteral("; "));
}

QJsonValue ProtectionJson(const std::optional<Social::CloudGuarantees>& guarantees)
{
    if (!guarantees)
        return {};
    return QJsonObject{{QStringLiteral("newNames"), guarantees->areNewNamesProtected},
                       {QStringLiteral("replacements"), guarantees->areReplacementsProtected}};
}

QString ConfinementText()
{
    const auto confinement = Social::UsedPreviewConfinement();
    const QString text = QStringLiteral("confined by ") + ToText(confinement);
    switch (confinement) {
    case Social::PreviewConfinement::Bubblewrap:
    case Social::PreviewConfinement::Landlock:
        return text;
    case Social::PreviewConfinement::Seccomp:
        return text + QStringLiteral("; the renderer can read your other files");
    case Social::PreviewConfinement::Limits:
        break;
    }
    return text + QStringLiteral(" alone; the renderer has your files and your network");
}

QJsonValue LastProblemJson(const std::optional<RememberedProblem>& remembered)
{
    if (!remembered)
        return {};
    QJsonObject object = ToJson(remembered->problem);
    object.insert(QStringLiteral("when"), remembered->when.toString(Qt::ISODate));
    object.insert(QStringLiteral("command"), remembered->command);
    return object;
}

} // namespace

StatusCommand::StatusCommand(const Surroundings& surroundings)
    : Command(surroundings)
    , m_lastProblem(RecallProblem(surroundings.locations.sessionFolder))
{
    const OrvaneCloudManager& cloud = Session().Cloud();
    connect(&cloud, &OrvaneCloudManager::RetrievingUserQuotaFinished, this, [this](int used, int allowed) {
        m_quota = Quota{used, allowed};
        Conclude();
    });
    connect(&cloud, &OrvaneCloudManager::RetrievingUserQuotaCanceled, this, &StatusCommand::Conclude);
}

void StatusCommand::Start()
{
    SignInThen([this] {
        m_isSignedIn = true;
        RefreshThen([this] {
            Await();
            Session().Cloud().UserQuota();
        });
    });
}

void StatusCommand::OnOperationFailed(const OperationFailure& failure)
{
    if (failure.operation == Operation::Quota)
        OnPreparationFailed(DescribeFailure(failure.operation, {}, failure.failure));
    else
        Command::OnOperationFailed(failure);
}

void StatusCommand::OnPreparationFailed(const Problem& problem)
{
    m_problem = problem;
    Report(problem);
    Conclude();
}

void StatusCommand::Conclude()
{
    m_rows = ReadRows(Session().Documents());
    Show();
    Finish(m_problem ? m_problem->exitCode : ExitCode::Done, m_problem);
}

void StatusCommand::Show() const
{
    ShowLine("Cloud", GetLocations().cloudAddress);
    if (!GetOptions().user.isEmpty())
        ShowLine("User", GetOptions().user);
    ShowLine("Signed in", SignInText());
    ShowLine("Documents", DocumentsText());
    ShowLine("Storage", QuotaText());
    if (IsWebAddress(GetLocations().cloudAddress))
        ShowLine("Protection", ProtectionText(Session().Guarantees()));
    ShowLine("Previews", ConfinementText());
    ShowLine("Data folder", Support::ToText(GetLocations().dataFolder));
    ShowLine("Last problem", LastProblemText());
}

void StatusCommand::ShowLine(const char* title, const QString& text) const
{
    const QString head = QString::fromLatin1(title).append(QLatin1Char(':')).leftJustified(14);
    GetConsole().Print(head + ToPrintable(text));
}

QString StatusCommand::SignInText() const
{
    if (m_isSignedIn)
        return QStringLiteral("yes");
    return m_problem ? QStringLiteral("no: ") + m_problem->why : QStringLiteral("no");
}

QString StatusCommand::DocumentsText() const
{
    QStringList parts;
    const QMap<QString, int> counts = CountByState(m_rows);
    for (auto entry = counts.begin(); entry != counts.end(); ++entry)
        parts.append(QStringLiteral("%1 %2").arg(entry.value()).arg(entry.key()));
    const QString total = QString::number(m_rows.size());
    return parts.isEmpty()
               ? total
               : total + QStringLiteral(" (") + parts.join(QStringLiteral(", ")) + QLatin1Char(')');
}

QString StatusCommand::QuotaText() const
{
    return m_quota ? ToText(*m_quota) : QStringLiteral("unknown");
}

QString StatusCommand::LastProblemText() const
{
    if (!m_lastProblem)
        return QStringLiteral("none");
    return DateText(m_lastProblem->when) + QStringLiteral(" (") + m_lastProblem->command +
           QStringLiteral("): ") + m_lastProblem->problem.what + QStringLiteral(": ") +
           m_lastProblem->problem.why;
}

QJsonObject StatusCommand::Results() const
{
    return {{QStringLiteral("cloud"), GetLocations().cloudAddress},
            {QStringLiteral("user"), GetOptions().user.isEmpty() ? QJsonValue() : GetOptions().user},
            {QStringLiteral("signedIn"), m_isSignedIn},
            {QStringLiteral("documents"), m_rows.size()},
            {QStringLiteral("states"), CountsJson(m_rows)},
            {QStringLiteral("quota"), m_quota ? QJsonValue(ToJson(*m_quota)) : QJsonValue()},
            {QStringLiteral("protection"), ProtectionJson(Session().Guarantees())},
            {QStringLiteral("previewConfinement"), ToText(Social::UsedPreviewConfinement())},
            {QStringLiteral("dataFolder"), Support::ToText(GetLocations().dataFolder)},
            {QStringLiteral("lastProblem"), LastProblemJson(m_lastProblem)}};
}

} // namespace Orvane::CommandLine
