#include <OrvaneCloud/OrvaneCloudFilesManager.h>
#include <OrvaneCloudHost/LocalFileSystem.h>
#include <OrvaneCloudHost/Md5HashCalculator.h>
#include <OrvaneCloudProtocol/OrvaneCloudProtocol.h>

using namespace Orvane;

struct TwoRecords : PDF::Cloud::ICloudInfoStorage
{
    void RemoveRecord(const std::string&) override {}
    void SetValue(const std::string&, const std::string&, const std::string&) override {}
    Records LoadRecords() override { return {{"first.pdf", {}}, {"second.pdf", {}}}; }
};

int main()
{
    const PDF::Cloud::OrvaneCloudFilesManager documents(std::make_shared<TwoRecords>(),
                                                        std::make_shared<PDF::Cloud::LocalFileSystem>(),
                                                        std::make_shared<PDF::Cloud::Md5HashCalculator>());
    Social::OrvaneCloudProtocol client({}, "file:///", nullptr);
    const bool isListRight = documents.FilesCount() == 2 && documents.GetDocumentId(0) == "second.pdf";
    return isListRight && !client.loggedIn() ? 0 : 1;
}
