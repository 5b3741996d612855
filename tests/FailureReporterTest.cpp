#include "support/CloudManagerFixture.h"

#include <OrvaneCloudHost/FailureReporter.h>

#include <QTemporaryDir>

namespace Orvane::Tests {
namespace {

using PDF::FileInfo;
using PDF::Cloud::CloudSession;
using PDF::Cloud::FailureReporter;
using Social::Failure;
using Social::FailureCode;
using Social::Operation;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto kSmall = FileInfo::PreviewSize::Small;

struct Request
{
    const char* name;
    std::function<void(PDF::Cloud::OrvaneCloudManager& manager, const Document& document)> start;
    Operation operation;
    const char* subject;
    bool isCancelingReported = false;
};

const Request kRequests[] = {
    {"sign-in", [](auto& manager, auto&) { manager.Authorization("t"_q); }, Operation::SignIn, "", true},
    {"list", [](auto& manager, auto&) { manager.RetrieveFilesList(); }, Operation::FileList, ""},
    {"quota", [](auto& manager, auto&) { manager.UserQuota(); }, Operation::Quota, ""},
    {"upload", [](auto& manager, auto&) { manager.Upload("/a.pdf"_q); }, Operation::Upload, "/a.pdf"},
    {"download", [](auto& manager, auto& document) { manager.Download(document, "/nowhere"_q); },
     Operation::Download, "id"},
    {"removal", [](auto& manager, auto& document) { manager.RemoveFile(document); }, Operation::Remove, "id",
     true},
    {"preview",
     [](auto& manager, auto& document) {
         manager.RetrieveFilePreview(document, kSmall, {9, 9});
     },
     Operation::Preview, "id"},
};

std::string Text(Operation operation, const std::string& subject, FailureCode code, const std::string& detail)
{
    return "failed: " + std::to_string(static_cast<int>(operation)) + " \"" + subject + "\" " +
           std::to_string(static_cast<int>(code)) + ' ' + detail;
}

class FailureReporterTest : public CloudManagerFixture
{
protected:
    FailureReporterTest()
    {
        qputenv("TMPDIR", m_folder.path().toUtf8());
        QObject::connect(&m_reporter, &FailureReporter::Failed, [this](const auto& failed) {
            m_journal.Add(Text(failed.operation, failed.subject.toStdString(), failed.failure.code,
                               failed.failure.detail.toStdString()));
        });
    }

    ~FailureReporterTest() override { qunsetenv("TMPDIR"); }

    /// The reports, without what the fakes have to say.
    Events Reports(const std::function<void()>& action)
    {
        Events reports;
        for (const auto& event : During(action)) {
            if (event.rfind("failed: ", 0) == 0)
                reports.push_back(event);
        }
        return reports;
    }

    Events ReportsWhenAnswered(RequestResult result)
    {
        return Reports([&] { m_protocol->Finish(m_protocol->m_requests.size() - 1, result); });
    }

    const QTemporaryDir m_folder;
    std::map<Operation, Failure> m_reasons;
    std::shared_ptr<const FileInfo> m_cleanUp;
    const Document m_document = CloudDocument("id");
    FailureReporter m_reporter{*m_manager,
                               [this](Operation operation) {
                                   const auto found = m_reasons.find(operation);
                                   return found == m_reasons.end() ? std::nullopt
                                                                   : std::make_optional(found->second);
                               },
                               [this](const auto& document) { return document == m_cleanUp; }};
};

TEST_F(FailureReporterTest, EveryFailureIsReportedOnceWithItsSubjectAndTheReasonOfItsOwnKind)
{
    for (const auto& request : kRequests)
        m_reasons[request.operation] = {FailureCode::Network, QString::fromLatin1(request.name)};
    for (const auto& request : kRequests) {
        SCOPED_TRACE(request.name);
        const auto start = [&] { request.start(*m_manager, m_document); };
        const auto report = Text(request.operation, request.subject, FailureCode::Network, request.name);
        m_protocol->m_nextTickets = {Social::INVALID_TICKET};
        EXPECT_THAT(Reports(start), ElementsAre(report)) << "it does not start";
        for (const auto result : {kError, kCanceled, kSuccess}) {
            const bool isReported = result == kError || (result == kCanceled && request.isCancelingReported);
            EXPECT_THAT(Reports(start), IsEmpty());
            m_protocol->m_image = QPixmap(1, 1);
            EXPECT_EQ(ReportsWhenAnswered(result), isReported ? Events{report} : Events())
                << "result " << static_cast<int>(result);
        }
    }
}

TEST_F(FailureReporterTest, WhatTheClientKnowsNothingOfIsNotGivenTheReasonOfAnEarlierRequest)
{
    for (const auto operation : {Operation::Upload, Operation::Download, Operation::Preview})
        m_reasons[operation] = {FailureCode::Network, "an earlier request"_q};
    EXPECT_THAT(Reports([this] { m_manager->Upload(Document()); }),
                ElementsAre(Text(Operation::Upload, "", FailureCode::InvalidRequest, "there is no file")));
    const auto outside = DocumentWithoutCloudSide();
    EXPECT_THAT(Reports([&] { m_manager->Download(outside, "/f"_q); }),
                ElementsAre(Text(Operation::Download, "abc", FailureCode::InvalidRequest,
                                 "the document is not in the cloud")));
    EXPECT_THAT(Reports([&] {
                    m_manager->RetrieveFilePreview(outside, kSmall, {9, 9});
                }),
                ElementsAre(Text(Operation::Preview, "abc", FailureCode::InvalidRequest,
                                 "Can`t retrieving preview for not upload files")));
    m_protocol->m_image = QPixmap(); // cannot be saved
    m_manager->RetrieveFilePreview(m_document, kSmall, {9, 9});
    EXPECT_THAT(ReportsWhenAnswered(kSuccess),
                ElementsAre(Text(Operation::Preview, "id", FailureCode::LocalDisk,
                                 "Cannot save preview for: id with size: Small")));
    m_manager->UserQuota(); // the client has no reason
    EXPECT_THAT(ReportsWhenAnswered(kError),
                ElementsAre(Text(Operation::Quota, "", FailureCode::InvalidRequest, "")));
}

TEST_F(FailureReporterTest, OnlyTheRemovalThatTheManagerHasAskedForIsNotReported)
{
    m_manager->RemoveFile(m_document);
    const auto cleanUp = CloudDocument("id");
    m_manager->RemoveFile(cleanUp);
    m_cleanUp = cleanUp;
    EXPECT_THAT(ReportsWhenAnswered(kError), IsEmpty());
    EXPECT_EQ(Reports([this] { m_protocol->Finish(0, kError); }).size(), 1U);
}

} // namespace
} // namespace Orvane::Tests
