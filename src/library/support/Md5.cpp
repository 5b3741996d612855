#include "Md5.h"

#include "InputFile.h"

#include <QByteArray>

#include <openssl/evp.h>

#include <stdexcept>

namespace Orvane::Support {
namespace {

// It and the file's bytes fit into a processor's nearest large cache, and small files do not pay for more.
constexpr std::size_t kPiece = std::size_t{64} * 1024;

// From a library context of our own, which knows no configuration: where a system allows approved algorithms
// only, MD5 is refused to whoever asks without saying that it protects nothing.
const EVP_MD* Algorithm()
{
    static const EVP_MD* const algorithm = EVP_MD_fetch(OSSL_LIB_CTX_new(), "MD5", nullptr);
    return algorithm;
}

} // namespace

void Md5::Free::operator()(evp_md_ctx_st* context) const
{
    EVP_MD_CTX_free(context);
}

Md5::Md5()
    : m_context(EVP_MD_CTX_new())
    , m_isGood(m_context && Algorithm() != nullptr &&
               EVP_DigestInit_ex2(m_context.get(), Algorithm(), nullptr) == 1)
{}

void Md5::Add(const char* data, std::size_t size)
{
    m_isGood = m_isGood && EVP_DigestUpdate(m_context.get(), data, size) == 1;
}

std::string Md5::Result()
{
    std::string result(16, '\0');
    auto* const bytes = reinterpret_cast<unsigned char*>(result.data());
    if (!m_isGood || EVP_DigestFinal_ex(m_context.get(), bytes, nullptr) != 1)
        throw std::runtime_error("the cryptographic library refuses to compute an MD5");
    m_isGood = false;
    return result;
}

std::optional<std::string> Md5OfContent(const std::filesystem::path& file,
                                        const std::function<bool()>& isCanceled)
{
    try {
        InputFile stream(file);
        const std::unique_ptr<char[]> buffer(new char[kPiece]);
        Md5 md5;
        for (std::size_t count = kPiece; count == kPiece;) {
            if (isCanceled && isCanceled())
                return std::nullopt;
            count = stream.Read(buffer.get(), kPiece);
            md5.Add(buffer.get(), count);
        }
        return md5.Result();
    } catch (const std::filesystem::filesystem_error&) {
        return std::nullopt;
    }
}

std::string ToHex(const std::string& bytes)
{
    return QByteArray::fromStdString(bytes).toHex().toStdString();
}

} // namespace Orvane::Support
