#include "QuotaCommand.h"

#include "../Console.h"
#include "../FailureText.h"

namespace Orvane::CommandLine {

using PDF::Cloud::OrvaneCloudManager;
using Social::FailureCode;
using Social::Operation;

QuotaCommand::QuotaCommand(const Surroundings& surroundings)
    : Command(surroundings)
{
    const OrvaneCloudManager& cloud = Session().Cloud();
    connect(&cloud, &OrvaneCloudManager::RetrievingUserQuotaFinished, this, [this](int used, int allowed) {
        Show({used, allowed});
    });
    connect(&cloud, &OrvaneCloudManager::RetrievingUserQuotaCanceled, this, [this] {
        Fail(DescribeFailure(Operation::Quota, {}, {FailureCode::Canceled, {}}));
    });
}

void QuotaCommand::Start()
{
    SignInThen([this] {
        Await();
        Session().Cloud().UserQuota();
    });
}

void QuotaCommand::Show(const Quota& quota)
{
    m_quota = quota;
    GetConsole().Print(ToText(quota));
    Finish(ExitCode::Done);
}

void QuotaCommand::OnOperationFailed(const OperationFailure& failure)
{
    if (failure.operation == Operation::Quota)
        Fail(DescribeFailure(failure.operation, {}, failure.failure));
    else
        Command::OnOperationFailed(failure);
}

QJsonObject QuotaCommand::Results() const
{
    return m_quota ? ToJson(*m_quota) : QJsonObject();
}

} // namespace Orvane::CommandLine
