#include "support/Require.h"

#include <OrvaneCloud/TextDate.h>
#include <OrvaneCloudProtocol/transports/webdav/WebDavDate.h>

#include <QLocale>

#include <fuzzer/FuzzedDataProvider.h>

namespace {

using namespace Orvane;
using Fuzzing::Require;

/// What a server writes is read again from each form in which servers write it.
void RequireServersDate(const QByteArray& text)
{
    const QDateTime moment = Social::WebDavDateOf(text);
    if (!moment.isValid())
        return;
    Require(moment.timeSpec() == Qt::UTC, "a server's date is in UTC");
    if (moment.date().year() < 1001 || moment.date().year() > 9998) // a zone leads out of four digits
        return;
    const QDateTime seconds = QDateTime::fromSecsSinceEpoch(moment.toSecsSinceEpoch(), Qt::UTC);
    const QLocale english = QLocale::c();
    for (const char* form : {"ddd, dd MMM yyyy HH:mm:ss 'GMT'", "ddd MMM d HH:mm:ss yyyy",
                             "yyyy-MM-dd'T'HH:mm:ss'Z'", "yyyy-MM-dd'T'HH:mm:ss'+00:00'"})
        Require(Social::WebDavDateOf(english.toString(seconds, QLatin1String(form)).toLatin1()) == seconds,
                "a server's date is the same in every form");
    for (const int secondsEast : {-34'200, 0, 45'900}) {
        const auto there = moment.toOffsetFromUtc(secondsEast).toString(Qt::ISODateWithMs);
        Require(Social::WebDavDateOf(there.toLatin1()) == moment, "a date is the same in every zone");
    }
}

/// What is stored comes back to the second, and reads as Qt writes it.
void RequireStoredDate(const QDateTime& date)
{
    const auto text = PDF::Cloud::WriteTextDate(date);
    Require(text.empty() != date.isValid(), "every valid date is stored");
    if (!date.isValid() || date.date().year() < 1000 || date.date().year() > 9999)
        return;
    const auto again = PDF::Cloud::ReadTextDate(text);
    Require(again.toSecsSinceEpoch() == date.toSecsSinceEpoch(), "a stored date comes back to the second");
    Require(PDF::Cloud::WriteTextDate(again) == text, "a stored date is stored the same again");
}

QDateTime AnyDate(FuzzedDataProvider& input)
{
    const auto seconds = input.ConsumeIntegralInRange<qint64>(-30'000'000'000, 253'000'000'000);
    switch (input.ConsumeIntegralInRange(0, 2)) {
    case 0:
        return QDateTime::fromSecsSinceEpoch(seconds, Qt::UTC);
    case 1:
        return QDateTime::fromSecsSinceEpoch(seconds, Qt::OffsetFromUTC,
                                             input.ConsumeIntegralInRange(-50'000, 50'000));
    default:
        return QDateTime::fromSecsSinceEpoch(seconds, Qt::LocalTime);
    }
}

} // namespace

/// Takes the input for a date as a server writes it, for one as it is stored, and for a moment.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    RequireServersDate(QByteArray::fromStdString(text));
    RequireStoredDate(PDF::Cloud::ReadTextDate(text));
    FuzzedDataProvider input(data, size);
    RequireStoredDate(AnyDate(input));
    return 0;
}
