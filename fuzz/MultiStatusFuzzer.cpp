#include "support/Properties.h"

#include <OrvaneCloudProtocol/transports/Job.h>
#include <OrvaneCloudProtocol/transports/webdav/Md5Note.h>
#include <OrvaneCloudProtocol/transports/webdav/MultiStatus.h>
#include <OrvaneCloudProtocol/transports/webdav/WebDavAddress.h>

#include <optional>
#include <tuple>

namespace {

using namespace Orvane;
using namespace Orvane::Social;
using Fuzzing::Require;

constexpr int kPiece = 16 * 1024; // as much as the reader gives to the XML reader at once

struct Outcome
{
    std::optional<FailureCode> failure;
    std::vector<DavResource> resources;
};

auto Fields(const DavResource& resource)
{
    return std::tie(resource.href, resource.status, resource.isTypeKnown, resource.isCollection,
                    resource.size, resource.entityTag, resource.isEntityTagWeak, resource.createdAt,
                    resource.modifiedAt, resource.quotaUsed, resource.quotaAvailable, resource.serverMd5,
                    resource.md5Note, resource.principal);
}

bool AreEqual(const Outcome& left, const Outcome& right)
{
    return left.failure == right.failure &&
           std::equal(left.resources.begin(), left.resources.end(), right.resources.begin(),
                      right.resources.end(),
                      [](const auto& one, const auto& other) { return Fields(one) == Fields(other); });
}

Outcome Read(const QByteArray& text)
{
    try {
        MultiStatusReader reader;
        reader.Add(text.constData(), static_cast<std::size_t>(text.size()));
        return {std::nullopt, reader.Finish()};
    } catch (const CloudError& error) {
        return {error.GetFailure().code, {}};
    }
}

/// Puts white space before the text, so that it is parsed in pieces that are cut at a place of our choice.
Outcome ReadCutAt(int place, const QByteArray& text)
{
    return Read(QByteArray(kPiece - place, ' ') + text);
}

void RequireSound(const DavResource& resource)
{
    const auto isUtc = [](const QDateTime& date) { return !date.isValid() || date.timeSpec() == Qt::UTC; };
    Require(resource.size.value_or(0) >= 0, "a size is not negative");
    Require(resource.status == 0 || resource.status >= 100, "a status has three digits");
    Require(isUtc(resource.createdAt) && isUtc(resource.modifiedAt), "dates are in UTC");
    Require(NormalizedMd5(resource.serverMd5) == resource.serverMd5, "a checksum is an MD5 or nothing");
    Fuzzing::RequireSafeTags(DocumentVersion::Of(resource));
    const auto meaning = MeaningOf(resource.href, "/dav/");
    const bool isMember = meaning.place == HrefMeaning::Place::Member;
    Require(isMember != meaning.memberName.empty(), "a member, and nothing else, has a name");
    if (IsDocumentName(meaning.memberName))
        Fuzzing::RequireSafeId(DocumentIdOf(meaning.memberName));
}

} // namespace

/// Takes the input for a server's answer. Its last byte says where it is cut.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    if (size == 0 || size > kPiece)
        return 0;
    const QByteArray text(reinterpret_cast<const char*>(data), static_cast<int>(size));
    const Outcome whole = Read(text);
    for (const auto& resource : whole.resources)
        RequireSound(resource);
    if (text.startsWith("<?xml") || text.startsWith("\xEF\xBB\xBF")) // nothing may come before them
        return 0;
    const int cut = data[size - 1] * text.size() / 256;
    Require(AreEqual(ReadCutAt(cut, text), whole), "a cut changes nothing");
    return 0;
}
