#include <OrvaneCloudProtocol/transports/webdav/WebDavQuota.h>

#include <OrvaneCloudProtocol/transports/webdav/PropertyRequests.h>

#include <algorithm>
#include <limits>
#include <string>
#include <unordered_set>

namespace Orvane::Social {

namespace {

constexpr qint64 kLargestKibibytes = std::numeric_limits<qint32>::max();

qint64 Kibibytes(qint64 bytes)
{
    return std::clamp<qint64>(bytes / 1024, 0, kLargestKibibytes);
}

qint64 Sum(qint64 left, qint64 right)
{
    constexpr qint64 kLargest = std::numeric_limits<qint64>::max();
    return left > kLargest - right ? kLargest : left + right;
}

qint64 SumOfSizes(WebDavCollection& collection, Job& job)
{
    qint64 sum = 0;
    std::unordered_set<std::string> names;
    const auto begin = [&] {
        sum = 0;
        names.clear();
        return [&](WebDavCollection::Member&& member) {
            const auto size = member.resource.size.value_or(0);
            sum = names.insert(std::move(member.name)).second ? Sum(sum, size) : sum;
        };
    };
    collection.List(begin, job);
    return sum;
}

} // namespace

Transport::QuotaValue QuotaOf(WebDavCollection& collection, const KnownTraits& traits, Job& job)
{
    const auto known = traits.Find();
    const bool isAsked = !known || known->tellsQuota;
    const auto self = isAsked ? collection.Self(PropfindForQuota(), job) : DavResource();
    const bool isUsedKnown = self.quotaUsed.value_or(-1) >= 0;
    const qint64 used = isUsedKnown ? *self.quotaUsed : SumOfSizes(collection, job);
    return QuotaFrom(used, self.quotaAvailable);
}

Transport::QuotaValue QuotaFrom(qint64 used, std::optional<qint64> available)
{
    if (available.value_or(-1) < 0) {
        return {Kibibytes(used), 0};
    }
    // 0 would say that nobody knows.
    const qint64 allowed = std::max<qint64>(Kibibytes(used) + Kibibytes(*available), 1);
    return {Kibibytes(used), std::min(allowed, kLargestKibibytes)};
}

} // namespace Orvane::Social
