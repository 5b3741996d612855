#include "support/FilesManagerFixture.h"

#include <atomic>
#include <cstdlib>
#include <functional>
#include <new>

namespace {

std::atomic<std::size_t> allocationCount{0};

} // namespace

void* operator new(std::size_t size)
{
    ++allocationCount;
    if (void* memory = std::malloc(size == 0 ? 1 : size))
        return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

// Qt's strings do not come from operator new. Sanitizers have a malloc of their own, and clang's does not
// show.
#if defined(__GLIBC__) && !defined(__clang__) && !defined(__SANITIZE_ADDRESS__)
extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* malloc(std::size_t size) noexcept
{
    ++allocationCount;
    return __libc_malloc(size);
}
#endif

namespace {

using namespace Orvane;
using namespace Orvane::Tests;

// Too long for a string's own buffer and equal up to their end: the dearest ids to look for.
std::string LongId(int number)
{
    return std::string(200, 'x') + std::to_string(100'000 + number);
}

class FilesManagerCostTest : public FilesManagerFixture
{
protected:
    /// How many allocations the action costs on a list of that length.
    std::size_t Cost(int count, const std::function<void()>& action)
    {
        m_list.reset();
        m_storage->m_records.clear();
        Open();
        for (int number = 0; number < count; ++number)
            m_list->Add(CloudDocument(LongId(number)));
        m_signals.m_documents = {};
        (void)Happened();
        const auto before = allocationCount.load();
        action();
        return allocationCount - before;
    }
};

// Document 0 is at the back, so that each look-up walks the whole list.
TEST_F(FilesManagerCostTest, LookUpsAllocateNothingForTheRecordsTheyPass)
{
    const auto last = CloudDocument(LongId(0));
    const auto unknown = CloudDocument(LongId(-1));
    const auto lastId = QString::fromStdString(last->GetId());
    const std::map<std::string, std::function<void()>> operations = {
        {"Update", [&] { m_list->Update(last); }},
        {"Update unknown", [&] { m_list->Update(unknown); }},
        {"GetFileInfo", [&] { (void)m_list->GetFileInfo(lastId); }},
        {"Remove", [&] { m_list->Remove(last); }},
        {"Remove unknown", [&] { m_list->Remove(unknown); }},
        {"a row", [&] { (void)m_list->GetDocumentName(5); }},
    };
    for (const auto& [name, operation] : operations)
        EXPECT_LT(Cost(10'000, operation), 100U) << name;
}

} // namespace
