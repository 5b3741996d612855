#include <OrvaneCloud/TextDate.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

namespace Orvane::PDF::Cloud {
namespace {

using Names = std::array<std::string_view, 12>;
constexpr Names kDays{"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};
constexpr Names kMonths{"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// A text date names its zone only as UTC or as an offset in whole minutes. Anything finer or named goes into
// one that does, without moving the moment.
QDateTime WithWritableZone(const QDateTime& date)
{
    const bool isWholeMinutes = date.offsetFromUtc() % 60 == 0;
    switch (date.timeSpec()) {
    case Qt::TimeZone:
        return isWholeMinutes ? date.toOffsetFromUtc(date.offsetFromUtc()) : date.toUTC();
    case Qt::OffsetFromUTC:
        return isWholeMinutes ? date : date.toUTC();
    case Qt::LocalTime:
    case Qt::UTC:
        break;
    }
    return date;
}

void AppendTwoDigits(std::string& text, int number)
{
    text += static_cast<char>('0' + number / 10);
    text += static_cast<char>('0' + number % 10);
}

void AppendZone(std::string& text, const QDateTime& date)
{
    if (date.timeSpec() == Qt::LocalTime)
        return;
    text += " GMT";
    if (date.timeSpec() == Qt::UTC)
        return;
    const int minutes = date.offsetFromUtc() / 60;
    text += minutes < 0 ? '-' : '+';
    AppendTwoDigits(text, qAbs(minutes) / 60);
    AppendTwoDigits(text, qAbs(minutes) % 60);
}

// Takes a text apart from its front. What does not stand there makes it fail, and all that is asked after.
class Scanner
{
public:
    explicit Scanner(std::string_view text)
        : m_rest(text)
    {}

    [[nodiscard]] bool HasFailed() const { return m_hasFailed; }
    [[nodiscard]] bool IsAtEnd() const { return m_rest.empty(); }

    void Skip(std::string_view expected)
    {
        m_hasFailed |= m_rest.substr(0, expected.size()) != expected;
        m_rest.remove_prefix(std::min(expected.size(), m_rest.size()));
    }

    int NameIn(const Names& names)
    {
        const auto name = m_rest.substr(0, 3);
        const auto found = std::find(names.begin(), names.end(), name);
        m_hasFailed |= name.empty() || found == names.end();
        m_rest.remove_prefix(name.size());
        return static_cast<int>(found - names.begin());
    }

    int Number(std::size_t fewestDigits, std::size_t mostDigits)
    {
        int number = 0;
        std::size_t digits = 0;
        for (; digits < mostDigits && digits < m_rest.size() && IsDigit(m_rest[digits]); ++digits)
            number = number * 10 + (m_rest[digits] - '0');
        m_hasFailed |= digits < fewestDigits;
        m_rest.remove_prefix(digits);
        return number;
    }

private:
    static bool IsDigit(char character) { return character >= '0' && character <= '9'; }

    std::string_view m_rest;
    bool m_hasFailed = false;
};

QTime ReadTime(Scanner& scanner)
{
    const int hour = scanner.Number(2, 2);
    scanner.Skip(":");
    const int minute = scanner.Number(2, 2);
    scanner.Skip(":");
    return QTime(hour, minute, scanner.Number(2, 2));
}

// The text date in the form in which it is written here. Any other is left to Qt, which takes its time.
std::optional<QDateTime> ReadWrittenDate(const std::string& text)
{
    Scanner scanner(text);
    scanner.NameIn(kDays);
    scanner.Skip(" ");
    const int month = scanner.NameIn(kMonths) + 1;
    scanner.Skip(" ");
    const int day = scanner.Number(1, 2);
    scanner.Skip(" ");
    const auto time = ReadTime(scanner);
    scanner.Skip(" ");
    const QDate date(scanner.Number(4, 4), month, day);
    if (scanner.HasFailed() || !date.isValid() || !time.isValid())
        return std::nullopt;
    if (scanner.IsAtEnd())
        return QDateTime(date, time, Qt::LocalTime);
    scanner.Skip(" GMT");
    if (scanner.HasFailed() || !scanner.IsAtEnd())
        return std::nullopt;
    return QDateTime(date, time, Qt::UTC);
}

} // namespace

std::string WriteTextDate(const QDateTime& date)
{
    if (!date.isValid())
        return std::string();
    const auto writable = WithWritableZone(date);
    const auto day = writable.date();
    const auto time = writable.time();
    std::string text;
    text.reserve(40);
    text += kDays[static_cast<std::size_t>(day.dayOfWeek() - 1)];
    text += ' ';
    text += kMonths[static_cast<std::size_t>(day.month() - 1)];
    text += ' ';
    text += std::to_string(day.day());
    text += ' ';
    AppendTwoDigits(text, time.hour());
    text += ':';
    AppendTwoDigits(text, time.minute());
    text += ':';
    AppendTwoDigits(text, time.second());
    text += ' ';
    text += std::to_string(day.year());
    AppendZone(text, writable);
    return text;
}

QDateTime ReadTextDate(const std::string& text)
{
    if (const auto date = ReadWrittenDate(text))
        return *date;
    return QDateTime::fromString(QString::fromStdString(text), Qt::TextDate);
}

} // namespace Orvane::PDF::Cloud
