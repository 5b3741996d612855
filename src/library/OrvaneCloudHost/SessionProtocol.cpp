#include <OrvaneCloudHost/SessionProtocol.h>

#include <OrvaneCloudProtocol/OrvaneCloudProtocol.h>

#include <QScopedValueRollback>

#include <utility>

namespace Orvane::PDF::Cloud {
namespace {

using Social::RequestResult;
using Keys = Social::OrvaneCloudProtocol;

QString NameOf(ExistingFile existingFile)
{
    switch (existingFile) {
    case ExistingFile::Refuse:
        return QStringLiteral("refuse");
    case ExistingFile::KeepBoth:
        return QStringLiteral("keep_both");
    case ExistingFile::Replace:
        break;
    }
    return QStringLiteral("replace");
}

QMap<QString, QString> KnownVersionOf(const PDF::FileInfo& document)
{
    const auto cloudInfo = document.GetCloudInfo();
    if (!cloudInfo)
        return {};
    return {{Keys::ID, QString::fromStdString(document.GetId())},
            {Keys::KNOWN_SIZE, QString::number(cloudInfo->GetSize())},
            {Keys::KNOWN_MODIFY_TIME, cloudInfo->GetModifyTime().toUTC().toString(Qt::ISODate)},
            {Keys::KNOWN_MD5, QString::fromStdString(cloudInfo->GetMd5Hash())}};
}

} // namespace

SessionProtocol::SessionProtocol(const Social::OAuth2::AuthInfo& authInfo, const std::string& address,
                                 RunningTransfers& transfers)
    : OrvaneCloudProtocolProxy(authInfo, address)
    , m_transfers(transfers)
{}

// A receiver of the manager's first signal may order another download in between.
void SessionProtocol::DownloadAs(const DownloadOrder& order, const std::function<void()>& startDownload)
{
    const auto next = m_next;
    const QScopedValueRollback<const DownloadOrder*> current(next->order, &order);
    startDownload();
}

void SessionProtocol::ChangeAs(const PDF::FileInfo& document, const std::function<void()>& startChange)
{
    const auto next = m_next;
    const QScopedValueRollback<QMap<QString, QString>> current(next->known, KnownVersionOf(document));
    startChange();
}

bool SessionProtocol::TakeCleanUp()
{
    return std::exchange(m_next->isCleanUp, false);
}

// A receiver of the manager's first signal may ask for something else in between.
QMap<QString, QString> SessionProtocol::WithKnownVersion(const QMap<QString, QString>& fields)
{
    auto joined = fields;
    const auto& known = m_next->known;
    if (fields.contains(Keys::ID) && fields.value(Keys::ID) == known.value(Keys::ID)) {
        for (auto field = known.cbegin(); field != known.cend(); ++field)
            joined.insert(field.key(), field.value());
    }
    return joined;
}

void SessionProtocol::cancelOperation(long long ticket)
{
    OrvaneCloudProtocolProxy::cancelOperation(ticket);
    m_transfers.End(ticket);
}

long long SessionProtocol::downloadFile(const FileFieldData& file, Files::OnResult&& onResult,
                                        OnProgress&& onProgress)
{
    const auto* order = std::exchange(m_next->order, nullptr);
    if (!order)
        return OrvaneCloudProtocolProxy::downloadFile(file, std::move(onResult), std::move(onProgress));
    return StartOrdered(*order, file, std::move(onResult), std::move(onProgress));
}

long long SessionProtocol::StartOrdered(const DownloadOrder& order, FileFieldData file,
                                        Files::OnResult&& onResult, OnProgress&& onProgress)
{
    file.fields.insert(Keys::FILE_NAME, order.file);
    file.fields.insert(Keys::EXISTING_FILE, NameOf(order.existingFile));
    auto end = [this, beforeResult = order.beforeResult,
                onResult = std::move(onResult)](long long ticket, RequestResult result) {
        m_transfers.End(ticket);
        beforeResult(result);
        onResult(ticket, result);
    };
    const auto ticket = OrvaneCloudProtocolProxy::downloadFile(file, std::move(end), std::move(onProgress));
    if (ticket == Social::INVALID_TICKET)
        return ticket;
    m_transfers.Begin(ticket, {order.document->GetId(), order.document});
    order.onStarted();
    return ticket;
}

long long SessionProtocol::deleteFile(const FileFieldData& file, Files::OnResult&& onResult)
{
    return OrvaneCloudProtocolProxy::deleteFile({WithKnownVersion(file.fields), file.listFields},
                                                std::move(onResult));
}

long long SessionProtocol::uploadFile(const QString& localPath, const QMap<QString, QString>& parameters,
                                      OnUploaded&& onResult, OnProgress&& onProgress)
{
    auto end = [this, onResult = std::move(onResult)](long long ticket, RequestResult result,
                                                      const Social::OrvaneCloudSharingResult& answer) {
        m_transfers.End(ticket);
        const auto next = m_next; // a receiver may destroy the protocol
        next->isCleanUp = result != RequestResult::Success;
        onResult(ticket, result, answer);
        next->isCleanUp = false;
    };
    const auto ticket = OrvaneCloudProtocolProxy::uploadFile(localPath, WithKnownVersion(parameters),
                                                             std::move(end), std::move(onProgress));
    if (ticket != Social::INVALID_TICKET)
        m_transfers.Begin(ticket,
                          {parameters.value(Keys::ID).toStdString(), nullptr, ioPath::from(localPath)});
    return ticket;
}

} // namespace Orvane::PDF::Cloud
