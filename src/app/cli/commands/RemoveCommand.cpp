#include "RemoveCommand.h"

#include "../Console.h"
#include "../DocumentNames.h"
#include "../FailureText.h"
#include "../Options.h"
#include "../PrintableText.h"

namespace Orvane::CommandLine {

using PDF::FileInfo;
using PDF::Cloud::OrvaneCloudManager;
using Social::Operation;

namespace {

constexpr int kMostNamesAsked = 10;

Problem ConfirmationMissing()
{
    return {ExitCode::Usage, QStringLiteral("confirmation-needed"),
            QStringLiteral("Nothing has been removed"), QStringLiteral("there is no terminal to ask you on"),
            QStringLiteral("Add --yes to remove without being asked.")};
}

Problem NotConfirmed()
{
    return {ExitCode::Failed, QStringLiteral("not-confirmed"), QStringLiteral("Nothing has been removed"),
            QStringLiteral("the answer was not yes"),
            QStringLiteral("Run the command again and answer with y.")};
}

} // namespace

RemoveCommand::RemoveCommand(const Surroundings& surroundings)
    : BatchCommand(surroundings)
    , m_confirmation(surroundings.console)
{
    connect(&Session().Cloud(), &OrvaneCloudManager::RemoveFileFinished, this,
            [this](const std::shared_ptr<FileInfo>& document) {
                OnRemoved(QString::fromStdString(document->GetId()));
            });
    connect(&m_confirmation, &Confirmation::Answered, this, &RemoveCommand::OnAnswered);
}

void RemoveCommand::Start()
{
    if (!GetOptions().isRemovalConfirmed && !GetConsole().CanAsk()) {
        Fail(ConfirmationMissing());
        return;
    }
    SignInThen([this] { RefreshThen([this] { AddDocuments(); }); });
}

void RemoveCommand::AddDocuments()
{
    const QVector<DocumentRow> rows = ReadRows(Session().Documents());
    for (const QString& text : GetOptions().documents) {
        const auto found = FindDocument(rows, text);
        if (const auto* problem = std::get_if<Problem>(&found)) {
            AddFailedItem(text, *problem);
            continue;
        }
        const auto& row = std::get<DocumentRow>(found);
        if (AddItem(row.id, row.name, text))
            m_names.append(row.name);
    }
    if (IsAnythingToDo() && !GetOptions().isRemovalConfirmed)
        Ask();
    else
        Run();
}

void RemoveCommand::Ask()
{
    QStringList names = m_names.mid(0, kMostNamesAsked);
    if (m_names.size() > kMostNamesAsked)
        names.append(QStringLiteral("and %1 more").arg(m_names.size() - kMostNamesAsked));
    m_confirmation.Ask(
        QStringLiteral("Delete from the cloud: %1?").arg(ToPrintable(names.join(QStringLiteral(", ")))));
}

void RemoveCommand::OnAnswered(bool isYes)
{
    if (isYes)
        Run();
    else
        Fail(NotConfirmed());
}

void RemoveCommand::StartItem(const QString& key)
{
    if (const auto document = Session().Documents().GetFileInfo(key))
        Session().Cloud().RemoveFile(document);
    else
        OnRemoved(key); // a refresh has found it gone meanwhile
}

void RemoveCommand::OnOperationFailed(const OperationFailure& failure)
{
    if (failure.operation == Operation::Remove)
        SetFailed(failure.subject,
                  DescribeFailure(failure.operation, LabelOf(failure.subject), failure.failure));
    else
        BatchCommand::OnOperationFailed(failure);
}

void RemoveCommand::OnRemoved(const QString& id)
{
    GetConsole().Tell(QStringLiteral("Removed \"%1\" from the cloud.").arg(ToPrintable(LabelOf(id))));
    SetDone(id, {{QStringLiteral("id"), id}, {QStringLiteral("name"), LabelOf(id)}});
}

} // namespace Orvane::CommandLine
