#include <OrvaneCloudProtocol/transports/webdav/WebDavDate.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

namespace Orvane::Social {

namespace {

bool IsDigit(char character)
{
    return character >= '0' && character <= '9';
}

bool IsLetter(char character)
{
    const int letter = character | 0x20;
    return letter >= 'a' && letter <= 'z';
}

/// Reads a text from its beginning. What is not there is noticed once, at the end: see HasFailed.
class Scanner
{
public:
    explicit Scanner(std::string_view text)
        : m_rest(text)
    {}

    [[nodiscard]] char Next() const { return m_rest.empty() ? '\0' : m_rest.front(); }

    /// Whether something expected was not there, or something is left over.
    [[nodiscard]] bool HasFailed() const { return m_hasFailed || !m_rest.empty(); }

    void Fail() { m_hasFailed = true; }

    bool TakeAnyOf(std::string_view characters)
    {
        if (m_rest.empty() || characters.find(m_rest.front()) == std::string_view::npos) {
            return false;
        }
        m_rest.remove_prefix(1);
        return true;
    }

    void Expect(std::string_view characters) { m_hasFailed |= !TakeAnyOf(characters); }

    void Skip(std::string_view characters)
    {
        while (TakeAnyOf(characters)) {
        }
    }

    std::string_view TakeWord() { return TakeWhile(IsLetter); }
    std::string_view TakeDigits() { return TakeWhile(IsDigit); }

    int ExpectNumber(std::size_t fewestDigits, std::size_t mostDigits)
    {
        int number = 0;
        const std::string_view digits = TakeDigits();
        if (digits.size() < fewestDigits || digits.size() > mostDigits) {
            Fail();
            return number;
        }
        for (const char digit : digits) {
            number = number * 10 + (digit - '0');
        }
        return number;
    }

private:
    std::string_view TakeWhile(bool (*isWanted)(char))
    {
        const auto* const end = std::find_if_not(m_rest.begin(), m_rest.end(), isWanted);
        const auto taken = m_rest.substr(0, static_cast<std::size_t>(end - m_rest.begin()));
        m_rest.remove_prefix(taken.size());
        return taken;
    }

    std::string_view m_rest;
    bool m_hasFailed = false;
};

int ExpectMonth(Scanner& scanner)
{
    constexpr std::array<std::string_view, 12> kMonths{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const auto* const month = std::find(kMonths.begin(), kMonths.end(), scanner.TakeWord());
    return static_cast<int>(month - kMonths.begin()) + 1; // 13, which no date has, when it is none
}

int ExpectYear(Scanner& scanner)
{
    const int year = scanner.ExpectNumber(2, 4);
    if (year >= 100) {
        return year;
    }
    return year < 70 ? year + 2000 : year + 1900;
}

QTime ExpectTime(Scanner& scanner)
{
    const int hour = scanner.ExpectNumber(2, 2);
    scanner.Expect(":");
    const int minute = scanner.ExpectNumber(2, 2);
    scanner.Expect(":");
    const int second = scanner.ExpectNumber(2, 2);
    int millisecond = 0;
    if (scanner.TakeAnyOf(".,")) {
        const auto digits = QByteArray::fromStdString(std::string(scanner.TakeDigits()));
        millisecond = digits.leftJustified(3, '0', true).toInt();
    }
    return {hour, minute, second, millisecond};
}

/// Seconds east of Greenwich.
int ExpectZone(Scanner& scanner)
{
    const bool isWest = scanner.Next() == '-';
    if (scanner.TakeAnyOf("+-")) {
        const int number = scanner.ExpectNumber(2, 4);
        const bool hasMinutes = scanner.TakeAnyOf(":");
        const int minutes = hasMinutes     ? number * 60 + scanner.ExpectNumber(2, 2)
                            : number < 100 ? number * 60
                                           : number / 100 * 60 + number % 100;
        return isWest ? -minutes * 60 : minutes * 60;
    }
    const std::string_view zone = scanner.TakeWord();
    if (!zone.empty() && zone != "GMT" && zone != "Z" && zone != "UTC") {
        scanner.Fail();
    }
    return 0;
}

QDateTime MomentOf(const QDate& day, const QTime& time, int secondsEast, const Scanner& scanner)
{
    if (scanner.HasFailed() || !day.isValid() || !time.isValid()) {
        return {};
    }
    return QDateTime(day, time, Qt::UTC).addSecs(-secondsEast);
}

QDateTime IsoDateOf(Scanner scanner)
{
    const int year = scanner.ExpectNumber(4, 4);
    scanner.Expect("-");
    const int month = scanner.ExpectNumber(2, 2);
    scanner.Expect("-");
    const int day = scanner.ExpectNumber(2, 2);
    scanner.Expect("Tt ");
    const QTime time = ExpectTime(scanner);
    const int zone = ExpectZone(scanner);
    return MomentOf({year, month, day}, time, zone, scanner);
}

/// "Sun, 06 Nov 1994 08:49:37 GMT" and "Sunday, 06-Nov-94 08:49:37 GMT"
QDateTime DayFirstDateOf(Scanner scanner)
{
    const int day = scanner.ExpectNumber(1, 2);
    scanner.Expect(" -");
    const int month = ExpectMonth(scanner);
    scanner.Expect(" -");
    const int year = ExpectYear(scanner);
    scanner.Expect(" ");
    const QTime time = ExpectTime(scanner);
    scanner.Skip(" ");
    const int zone = ExpectZone(scanner);
    return MomentOf({year, month, day}, time, zone, scanner);
}

/// "Sun Nov  6 08:49:37 1994"
QDateTime MonthFirstDateOf(Scanner scanner)
{
    const int month = ExpectMonth(scanner);
    scanner.Skip(" ");
    const int day = scanner.ExpectNumber(1, 2);
    scanner.Expect(" ");
    const QTime time = ExpectTime(scanner);
    scanner.Expect(" ");
    const int year = scanner.ExpectNumber(4, 4);
    return MomentOf({year, month, day}, time, 0, scanner);
}

} // namespace

QDateTime WebDavDateOf(const QByteArray& text)
{
    const QByteArray trimmed = text.trimmed();
    Scanner scanner({trimmed.constData(), static_cast<std::size_t>(trimmed.size())});
    if (IsDigit(scanner.Next())) {
        const QDateTime moment = IsoDateOf(scanner);
        return moment.isValid() ? moment : DayFirstDateOf(scanner);
    }
    (void)scanner.TakeWord(); // the day of the week
    scanner.Skip(", ");
    return IsDigit(scanner.Next()) ? DayFirstDateOf(scanner) : MonthFirstDateOf(scanner);
}

} // namespace Orvane::Social
