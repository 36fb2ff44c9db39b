#include "CameraSim/Auth/Md5.h"

#include <gcrypt.h>

#include <array>
#include <stdexcept>

namespace Md5
{

namespace
{

constexpr std::size_t kDigestBytes = 16;

void InitialiseLibrary()
{
    static const bool initialised = [] {
        if (!gcry_check_version(GCRYPT_VERSION))
            throw std::runtime_error("libgcrypt is older than the headers that this program was built with.");
        gcry_control(GCRYCTL_DISABLE_SECMEM, 0);
        gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0);
        return true;
    }();
    static_cast<void>(initialised);
}

} // namespace

std::string Hex(std::string_view bytes)
{
    InitialiseLibrary();
    std::array<unsigned char, kDigestBytes> digest{};
    gcry_md_hash_buffer(GCRY_MD_MD5, digest.data(), bytes.data(), bytes.size());
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const unsigned char byte : digest)
    {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

} // namespace Md5
