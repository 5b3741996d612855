#include <support/Wiping.h>

#include <openssl/crypto.h>

namespace Orvane::Support {

void Wipe(char* bytes, std::size_t size) noexcept
{
    OPENSSL_cleanse(bytes, size);
}

void Wipe(QByteArray& text) noexcept
{
    if (text.isDetached())
        Wipe(text.data(), static_cast<std::size_t>(text.size()));
    text.clear();
}

void Wipe(QString& text) noexcept
{
    if (text.isDetached())
        Wipe(reinterpret_cast<char*>(text.data()), static_cast<std::size_t>(text.size()) * sizeof(QChar));
    text.clear();
}

} // namespace Orvane::Support
