#include "support/Require.h"
#include "support/Scratch.h"

#include <support/TemporaryJournal.h>

namespace {

using namespace Orvane;
using namespace Orvane::Support;
using Fuzzing::Require;
namespace fs = std::filesystem;

constexpr const char* kUsersFile = "mine.pdf";
constexpr const char* kHeldFile = ".orvane-cloud-0123456789abcdef.held";

const fs::path& PrivateFolder()
{
    static const Fuzzing::Scratch scratch;
    scratch.Clear();
    return scratch.Path();
}

/// The journal cannot know where the scratch folder is: "@" stands for it.
std::string WithFolder(const unsigned char* data, std::size_t size, const fs::path& folder)
{
    std::string text;
    for (const char byte : std::string(reinterpret_cast<const char*>(data), size))
        text += byte == '@' ? folder.string() : std::string(1, byte);
    return text;
}

bool HoldsFile(const fs::path& folder, const std::string& content)
{
    for (const auto& entry : fs::directory_iterator(folder)) {
        if (entry.is_regular_file() && Fuzzing::Read(entry.path()) == content)
            return true;
    }
    return false;
}

} // namespace

/// Takes the input for the journal of an owner that is gone. Whatever it says, the user's files stay, and
/// what was held stays under one name or another.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    const auto& folder = PrivateFolder();
    const auto journals = folder / "journals";
    fs::create_directory(journals);
    Fuzzing::Write(folder / kUsersFile, "mine");
    Fuzzing::Write(folder / kHeldFile, "held");
    Fuzzing::Write(journals / "gone.journal", WithFolder(data, size, folder));
    TemporaryJournal journal(journals);
    journal.Sweep([](const fs::path& temporary) {
        Require(IsTemporaryName(temporary.filename().string()), "a sweep removes only temporaries of ours");
        return true;
    });
    Require(Fuzzing::Read(folder / kUsersFile) == "mine", "a sweep leaves the user's file alone");
    Require(HoldsFile(folder, "held"), "a sweep loses no file that was held");
    return 0;
}
