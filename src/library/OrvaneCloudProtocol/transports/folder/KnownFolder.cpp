#include <OrvaneCloudProtocol/transports/folder/KnownFolder.h>

#include <OrvaneCloudProtocol/transports/FileFailure.h>
#include <support/InputFile.h>
#include <support/PartFile.h>
#include <support/PathText.h>
#include <support/PrivateFiles.h>

#include <QJsonDocument>
#include <QJsonObject>

#include <string>

namespace Orvane::Social {

namespace {

namespace fs = std::filesystem;

const QString kDevice = QStringLiteral("device"); // as text: a JSON number has 53 bits
const QString kIsEmpty = QStringLiteral("isEmpty");
constexpr std::size_t kLargestFile = 4096;

QByteArray JsonOf(const KnownFolder::State& state)
{
    const QJsonObject object{{kDevice, QString::number(state.device)}, {kIsEmpty, state.isEmpty}};
    return QJsonDocument(object).toJson();
}

std::optional<KnownFolder::State> StateIn(const std::string& json)
{
    const auto object = QJsonDocument::fromJson(QByteArray::fromStdString(json)).object();
    bool isNumber = false;
    const auto device = object[kDevice].toString().toULongLong(&isNumber);
    if (!isNumber || !object[kIsEmpty].isBool()) {
        return std::nullopt;
    }
    return KnownFolder::State{device, object[kIsEmpty].toBool()};
}

} // namespace

KnownFolder::KnownFolder(const fs::path& file, Support::TemporaryJournal& journal, bool isEmptyAccepted)
    : m_file(file)
    , m_journal(journal)
    , m_isEmptyAccepted(isEmptyAccepted)
{
    Support::MakePrivate(m_file); // an earlier version left it open to others
}

void KnownFolder::Require(const fs::path& folder, Device device, const std::function<bool()>& isEmpty)
{
    const std::lock_guard lock(m_mutex);
    if (m_known && m_known->device == device) {
        return;
    }
    const auto known = Load(); // another client may have noted more
    if (known && known->device == device) {
        m_known = known;
        return;
    }
    const State now{device, isEmpty()};
    if (known && !known->isEmpty && now.isEmpty && !std::exchange(m_isEmptyAccepted, false)) {
        throw CloudError(
            FailureCode::NotFound,
            Support::ToText(folder) +
                QStringLiteral(": an empty folder is in place of the one that held documents; its "
                               "drive or share is probably not mounted"));
    }
    Keep(now);
}

void KnownFolder::Note(const State& state)
{
    const std::lock_guard lock(m_mutex);
    if (!m_known || m_known->device != state.device || m_known->isEmpty != state.isEmpty) {
        Keep(state);
    }
}

std::optional<KnownFolder::State> KnownFolder::Load() const
{
    return OnSide(FileSide::Local, [this]() -> std::optional<State> {
        if (!Support::LookAt(m_file, Support::Links::Followed)) {
            return std::nullopt;
        }
        return StateIn(Support::ContentOf(m_file, kLargestFile));
    });
}

void KnownFolder::Keep(const State& state)
{
    m_known = state;
    try {
        Save(state);
    } catch (const fs::filesystem_error&) {
        return;
    }
}

void KnownFolder::Save(const State& state) const
{
    Support::MakePrivateFolder(m_file.parent_path());
    Support::PartFile part(m_file.parent_path(), m_journal, fs::perms::owner_read | fs::perms::owner_write);
    const auto json = JsonOf(state);
    part.Write(json.constData(), static_cast<std::size_t>(json.size()));
    part.Finish();
    part.Replace(m_file);
}

} // namespace Orvane::Social
