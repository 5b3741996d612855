#include "support/FilesManagerFixture.h"

#include <atomic>
#include <functional>

// Counting needs a malloc to stand in for; sanitizers have their own, and clang's does not show.
#if defined(__GLIBC__) && !defined(__clang__) && !defined(__SANITIZE_ADDRESS__) &&                           \
    !defined(__SANITIZE_THREAD__)

namespace {

std::atomic<std::size_t> allocationCount{0};

} // namespace

extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* malloc(std::size_t size) noexcept
{
    ++allocationCount;
    return __libc_malloc(size);
}

namespace {

using namespace Orvane::Tests;

// Too long for a string's own buffer and equal up to their end: the dearest ids to look for.
std::string LongId(int number)
{
    return std::string(200, 'x') + std::to_string(100'000 + number);
}

class FilesManagerCostTest : public FilesManagerFixture
{};

// Document 0 is at the back: who passes records on the way to it passes all of them.
TEST_F(FilesManagerCostTest, LookUpsAllocateNothingForTheRecordsTheyPass)
{
    for (int number = 0; number < 10'000; ++number)
        m_list->Add(CloudDocument(LongId(number)));
    const auto last = CloudDocument(LongId(0));
    const auto unknown = CloudDocument(LongId(-1));
    const auto lastId = QString::fromStdString(last->GetId());
    const std::vector<std::function<void()>> operations = {
        [&] { m_list->Update(last); },
        [&] { m_list->Update(unknown); },
        [&] { (void)m_list->GetFileInfo(lastId); },
        [&] { m_list->Remove(unknown); },
        [&] { (void)m_list->GetDocumentName(5); },
        [&] { m_list->Remove(last); },
    };
    for (std::size_t at = 0; at < operations.size(); ++at) {
        const auto before = allocationCount.load();
        operations[at]();
        EXPECT_LT(allocationCount - before, 100U) << "operation " << at;
    }
}

} // namespace

#endif
