#include "FailureText.h"

#include <algorithm>
#include <iterator>

namespace Orvane::CommandLine {

using Social::Failure;
using Social::FailureCode;
using Social::Operation;

namespace {

struct CodeTexts
{
    FailureCode code;
    ExitCode exitCode;
    const char* name;
    const char* why;
    const char* next;
};

constexpr CodeTexts kCodes[] = {
    {FailureCode::SignInNeeded, ExitCode::SignInNeeded, "sign-in-needed",
     "the cloud does not accept the sign-in",
     "Check the token (--token-file FILE, or the environment variable ORVANE_CLOUD_TOKEN), and whether the "
     "cloud wants --user NAME: with it the token is sent as that user's password, else as a bearer token."},
    {FailureCode::InvalidRequest, ExitCode::Failed, "invalid-request", "the request makes no sense",
     "Check the names given; `orvane-cloud list` shows what is in the cloud."},
    {FailureCode::InvalidAddress, ExitCode::Usage, "invalid-address", "the cloud's address is not understood",
     "Give --cloud a folder, or an address such as file:///home/me/cloud or https://host/collection/."},
    {FailureCode::NotFound, ExitCode::NotFound, "not-found", "the cloud is not there",
     "Check the address given with --cloud or ORVANE_CLOUD: a folder must exist and its drive be mounted, a "
     "collection must exist on its server. If a folder has rightly lost all its documents, add "
     "--accept-empty."},
    {FailureCode::Refused, ExitCode::CloudTrouble, "refused", "the cloud does not allow it",
     "Check that you have the right to read and write there."},
    {FailureCode::Conflict, ExitCode::Conflict, "conflict", "something has changed meanwhile",
     "Look at it with `orvane-cloud list`, then try again."},
    {FailureCode::QuotaExceeded, ExitCode::QuotaExceeded, "quota-exceeded", "the cloud is full",
     "Make room with `orvane-cloud remove DOCUMENT`, or get more space."},
    {FailureCode::Network, ExitCode::CloudTrouble, "network", "the cloud cannot be reached",
     "Check the connection, and the cloud's address: https or http, host and port. Then try again."},
    {FailureCode::TimedOut, ExitCode::CloudTrouble, "timed-out", "the cloud does not answer",
     "Try again later. If it lasts, the server hangs, or something on the way to it does."},
    {FailureCode::Unavailable, ExitCode::CloudTrouble, "unavailable",
     "the cloud is out of order, or too busy",
     "Try again later. If it lasts, tell those who run the server."},
    {FailureCode::Untrusted, ExitCode::CloudTrouble, "untrusted", "the cloud cannot prove who it is",
     "Check the address. A server with a certificate of its own needs --ca-file FILE (PEM) to be trusted."},
    {FailureCode::Protocol, ExitCode::CloudTrouble, "protocol", "the cloud's answer makes no sense",
     "Check that the address is that of a WebDAV collection, and not of a page to look at in a browser."},
    {FailureCode::LocalDisk, ExitCode::LocalDisk, "local-disk", "a local file cannot be read or written",
     "Check that there is free space and that you may read and write there."},
    {FailureCode::Unsupported, ExitCode::Failed, "unsupported", "this cloud, or this machine, cannot do it",
     "Use another cloud, or another machine, for this."},
    {FailureCode::OutOfResources, ExitCode::Failed, "out-of-resources",
     "this machine has no thread or no memory left for it",
     "End other programs, or raise the limits of this one (see `ulimit -a`). Then try again."},
    {FailureCode::InvalidDocument, ExitCode::Failed, "invalid-document",
     "the document is damaged, encrypted, or too large to show",
     "Open it in a PDF viewer to see what is wrong with it."},
    {FailureCode::Canceled, ExitCode::Failed, "canceled", "it was cancelled before it was done",
     "Run the command again."},
};

/// Where an operation has more to say about a code than the table above.
struct SpecialTexts
{
    Operation operation;
    FailureCode code;
    const char* why;
    const char* next;
};

constexpr char kSeeList[] = "See what is there with: orvane-cloud list";

constexpr SpecialTexts kSpecials[] = {
    {Operation::SignIn, FailureCode::Refused, "the cloud does not allow it",
     "Check the address, and that you may read there. Plain http:// to another machine needs "
     "--allow-insecure-http, or better https:// instead."},
    {Operation::Upload, FailureCode::Refused, "the cloud does not take it",
     "Check that you may write there, and that the cloud takes files of this name and size."},
    {Operation::Download, FailureCode::NotFound, "it is no longer in the cloud", kSeeList},
    {Operation::Remove, FailureCode::NotFound, "it is no longer in the cloud", kSeeList},
    {Operation::Preview, FailureCode::NotFound, "it is no longer in the cloud", kSeeList},
    {Operation::Upload, FailureCode::Protocol, "the cloud has not kept what it was sent",
     "Its disk may be full. Try again, and tell whoever runs the server if it stays so."},
    {Operation::Download, FailureCode::Protocol, "the cloud has not sent what it keeps",
     "Try again; if it stays so, the document is damaged there."},
    {Operation::Upload, FailureCode::LocalDisk, "the file cannot be read",
     "Check that the file is there, that you may read it, and that nobody is writing to it."},
    {Operation::Download, FailureCode::LocalDisk, "the file cannot be written",
     "Check that the folder has free space and that you may write there, or choose another with --to "
     "FOLDER."},
    {Operation::Preview, FailureCode::Unsupported, "this machine cannot make pictures of documents",
     "Install the program pdftoppm (on Debian: apt install poppler-utils)."},
};

struct OperationTexts
{
    Operation operation;
    const char* what; ///< with the subject's place as %1
};

constexpr OperationTexts kOperations[] = {
    {Operation::SignIn, "Could not sign in to the cloud"},
    {Operation::UserInfo, "Could not ask who is signed in"},
    {Operation::FileInfo, "Could not ask about \"%1\""},
    {Operation::FileList, "Could not list the documents"},
    {Operation::Download, "Could not download \"%1\""},
    {Operation::Remove, "Could not remove \"%1\""},
    {Operation::Upload, "Could not upload \"%1\""},
    {Operation::Quota, "Could not ask for the space used"},
    {Operation::Preview, "Could not make a picture of \"%1\""},
};

template <typename Table, typename Predicate>
auto FindIn(const Table& table, Predicate isWanted)
{
    const auto found = std::find_if(std::begin(table), std::end(table), isWanted);
    return found == std::end(table) ? nullptr : &*found;
}

const CodeTexts* TextsOf(FailureCode code)
{
    return FindIn(kCodes, [code](const CodeTexts& entry) { return entry.code == code; });
}

QString WhatHappened(Operation operation, const QString& subject)
{
    const auto* texts = FindIn(
        kOperations, [operation](const OperationTexts& entry) { return entry.operation == operation; });
    QString what = QString::fromLatin1(texts->what);
    return what.replace(QStringLiteral("%1"), subject);
}

QString WithDetail(const char* why, const QString& detail)
{
    const QString text = QString::fromLatin1(why);
    return detail.isEmpty() || detail == text ? text
                                              : text + QStringLiteral(" (") + detail + QLatin1Char(')');
}

} // namespace

Problem DescribeFailure(Operation operation, const QString& subject, const Failure& failure)
{
    const auto* texts = TextsOf(failure.code);
    const auto* special = FindIn(kSpecials, [&](const SpecialTexts& entry) {
        return entry.operation == operation && entry.code == failure.code;
    });
    return {texts->exitCode, QString::fromLatin1(texts->name), WhatHappened(operation, subject),
            WithDetail(special ? special->why : texts->why, failure.detail),
            QString::fromLatin1(special ? special->next : texts->next)};
}

QString DescribePause(const Failure& why, int milliseconds)
{
    const int seconds = (milliseconds + 999) / 1000;
    QString cause = QString::fromLatin1(TextsOf(why.code)->why);
    cause[0] = cause[0].toUpper();
    return cause + QStringLiteral("; trying again in %1 s.").arg(seconds);
}

} // namespace Orvane::CommandLine
