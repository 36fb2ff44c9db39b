#include "Authentication.h"

#include "Protocol/Base64.h"
#include "Protocol/DigestCredentials.h"
#include "Protocol/Log.h"
#include "Protocol/TextUtil.h"
#include "TextEncoding/Encoding.h"
#include "WarmCryptoProvider.h"
#include "Win32/Handles.h"

#include <cstdlib>
#include <iterator>
#include <new>
#include <utility>

using TextUtil::EqualsIgnoreCase;

namespace
{
/// Time, counters, thread and machine: together never the same twice.
class CSystemSignatureSource final : public ISignatureSource
{
public:
    std::string RandomBytes() override
    {
        struct
        {
            SYSTEMTIME localTime;
            DWORD tickCount;
            LARGE_INTEGER performanceCounter;
            DWORD threadId;
            int random;
            wchar_t computerName[256];
        } record = {};
        static_assert(sizeof(record) == 552);
        ::GetLocalTime(&record.localTime);
        record.tickCount = ::GetTickCount();
        ::QueryPerformanceCounter(&record.performanceCounter);
        record.threadId = ::GetCurrentThreadId();
        record.random = std::rand();
        DWORD countChars = static_cast<DWORD>(std::size(record.computerName));
        ::GetComputerNameW(record.computerName, &countChars);
        return std::string(reinterpret_cast<const char*>(&record), sizeof(record));
    }
};
constinit CSystemSignatureSource g_systemSignatureSource;

std::string HexDigits(std::string_view bytes)
{
    std::string digits;
    digits.reserve(2 * bytes.size());
    for (const char byte : bytes)
    {
        digits.push_back("0123456789abcdef"[static_cast<unsigned char>(byte) >> 4]);
        digits.push_back("0123456789abcdef"[static_cast<unsigned char>(byte) & 0xF]);
    }
    return digits;
}

std::string Md5Hex(std::string_view bytes)
{
    std::string digest;
    if (!AuthorizationRequest::HashData(bytes.data(), static_cast<DWORD>(bytes.size()), digest))
        return {};
    return HexDigits(digest);
}

/// Empty, and logged, when the system cannot convert it.
std::string ToAnsi(const std::wstring& text)
{
    if (text.empty())
        return {};
    const int countChars = static_cast<int>(text.size());
    const int lengthBytes = ::WideCharToMultiByte(CP_ACP, 0, text.data(), countChars, nullptr, 0, nullptr, nullptr);
    std::string result(static_cast<std::size_t>(lengthBytes), '\0');
    if (lengthBytes != 0 &&
        ::WideCharToMultiByte(CP_ACP, 0, text.data(), countChars, result.data(), lengthBytes, nullptr, nullptr) != 0)
        return result;
    Log(LogLevel::Error,
        L"AuthorizationRequest::CreateAuthorizationCredentials, failed to WideCharToMultiByte, dwLastError = %d",
        ::GetLastError());
    return {};
}

std::string ToUtf8(const wchar_t* text)
{
    return text != nullptr ? CUTF8Encoding().EncodeString(text) : std::string();
}
} // namespace

AuthorizationRequest::AuthorizationRequest() noexcept : AuthorizationRequest(g_systemSignatureSource) {}

AuthorizationRequest::AuthorizationRequest(ISignatureSource& source) noexcept : m_signatureSource(source) {}

bool AuthorizationRequest::SetCredentials(const wchar_t* userName, const wchar_t* password) noexcept
try
{
    // It hashes the secret of the old user.
    m_ha1.clear();
    m_userName = ToUtf8(userName);
    m_password = ToUtf8(password);
    return true;
}
catch (const std::bad_alloc&)
{
    m_userName.clear();
    m_password.clear();
    return LogFailure(false, LogLevel::Error, L"AuthorizationRequest::SetCredentials, out of memory");
}

void AuthorizationRequest::Reset(bool clearCredentials) noexcept
{
    m_challenge = AuthenticateResponse();
    ForgetNonce();
    if (clearCredentials)
    {
        m_userName.clear();
        m_password.clear();
    }
}

void AuthorizationRequest::ForgetNonce() noexcept
{
    m_ha1.clear();
    m_cnonce.clear();
    m_nonceCount = 1;
}

void AuthorizationRequest::SetAuthenticateResponse(const std::string& challengeText) noexcept
try
{
    TakeChallenge(challengeText);
}
catch (const std::bad_alloc&)
{
    // The old challenge stays, as after an invalid one.
    Log(LogLevel::Error, L"AuthorizationRequest::SetAuthenticateResponse, out of memory");
}

void AuthorizationRequest::TakeChallenge(const std::string& challengeText)
{
    AuthenticateResponse challenge;
    challenge.LoadFromString(challengeText);
    if (!challenge.IsValid())
    {
        Log(LogLevel::Debug,
            L"AuthorizationRequest::SetAuthenticateResponse, invalid server authenticate response: '%s', bail out",
            challengeText);
        return;
    }
    if (m_challenge.IsValid() && EqualsIgnoreCase(challenge.stale, "TRUE"))
    {
        m_challenge.nonce = std::move(challenge.nonce);
        ForgetNonce();
        return;
    }
    // Asked first, because a log that is off must not cost the description of the old challenge.
    if (m_challenge.IsValid() && QuorvaneLogger().IsLogging(LogLevel::Debug))
        Log(LogLevel::Debug,
            L"AuthorizationRequest::SetAuthenticateResponse, server authenticate response: '%s', old authenticate "
            L"is: '%s'",
            challengeText, m_challenge.Describe());
    Reset(false);
    m_challenge = std::move(challenge);
}

std::string AuthorizationRequest::CreateAuthorizationCredentials(const std::wstring& uri,
                                                                 const std::wstring& method) noexcept
try
{
    if (!m_challenge.IsValid())
        return {};
    if (m_userName.empty() || m_password.empty())
    {
        Log(LogLevel::Debug,
            L"AuthorizationRequest::CreateAuthorizationCredentials, empty username or password, bail out");
        return {};
    }
    if (EqualsIgnoreCase(m_challenge.scheme, "Basic"))
        return "Basic " + Base64::Encode(m_userName + ":" + m_password);
    if (EqualsIgnoreCase(m_challenge.scheme, "Digest"))
        return CreateDigestAuthorizationCredentials(ToAnsi(uri), ToAnsi(method));
    Log(LogLevel::Debug,
        L"AuthorizationRequest::CreateAuthorizationCredentials, unexpected authenticate schema: '%s', bail out",
        m_challenge.scheme);
    return {};
}
catch (const std::bad_alloc&)
{
    Log(LogLevel::Error, L"AuthorizationRequest::CreateAuthorizationCredentials, out of memory");
    return {};
}

std::string AuthorizationRequest::CreateDigestAuthorizationCredentials(const std::string& uri,
                                                                       const std::string& method)
{
    if (uri.empty() || method.empty())
    {
        Log(LogLevel::Error,
            L"AuthorizationRequest::CreateDigestAuthorizationCredentials, empty uri or method, bail out");
        return {};
    }
    if (m_cnonce.empty())
        m_cnonce = GenerateRandomSignature();
    if (m_ha1.empty())
        m_ha1 = DigestCredentials::ComputeHa1(m_challenge, m_userName, m_password, m_cnonce, &Md5Hex);
    if (m_ha1.empty())
        return {}; // HashData has told why
    const DigestCredentials::Request request = {m_userName, uri, method, m_cnonce, m_nonceCount};
    std::string value = DigestCredentials::FormatHeaderValue(m_challenge, m_ha1, request, &Md5Hex);
    if (value.empty())
        return {};
    // User name, uri and what the server sent stand in the value as they are: a line break among them would begin a
    // header of its own.
    if (value.find_first_of(std::string_view("\r\n\0", 3)) != std::string::npos)
    {
        Log(LogLevel::Error,
            L"AuthorizationRequest::CreateDigestAuthorizationCredentials, line break in the credentials, bail out");
        return {};
    }
    ++m_nonceCount;
    return value;
}

std::string AuthorizationRequest::GenerateRandomSignature()
{
    std::string signature = Md5Hex(m_signatureSource.RandomBytes());
    if (signature.empty())
    {
        Log(LogLevel::Debug,
            L"AuthorizationRequest::GenerateRandomSignature, HashData failed, use a random number instead");
        const DWORD tickCount = ::GetTickCount();
        for (int shift = 24; shift >= 0; shift -= 8)
            signature += HexDigits(std::string(1, static_cast<char>(tickCount >> shift)));
    }
    return signature;
}

bool AuthorizationRequest::HashData(const void* data, DWORD lengthBytes, std::string& digest)
{
    digest.clear();
    WarmCryptoProvider::KeepWarm();
    CCryptoProvider provider;
    if (!::CryptAcquireContextW(provider.put(), nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT))
    {
        Log(LogLevel::Error, L"AuthorizationRequest::HashData, CryptAcquireContext failed, dwLastError = 0x%x",
            ::GetLastError());
        return false;
    }
    CCryptoHash hash;
    if (!::CryptCreateHash(provider.get(), CALG_MD5, 0, 0, hash.put()))
    {
        Log(LogLevel::Error, L"AuthorizationRequest::HashData, CryptCreateHash failed, dwLastError = 0x%x",
            ::GetLastError());
        return false;
    }
    if (!::CryptHashData(hash.get(), static_cast<const BYTE*>(data), lengthBytes, 0))
    {
        Log(LogLevel::Error, L"AuthorizationRequest::HashData, CryptHashData failed, dwLastError = 0x%x",
            ::GetLastError());
        return false;
    }
    DWORD digestBytes = 0;
    DWORD sizeBytes = sizeof(digestBytes);
    bool read = ::CryptGetHashParam(hash.get(), HP_HASHSIZE, reinterpret_cast<BYTE*>(&digestBytes), &sizeBytes, 0);
    if (read)
    {
        digest.resize(digestBytes);
        read = ::CryptGetHashParam(hash.get(), HP_HASHVAL, reinterpret_cast<BYTE*>(digest.data()), &digestBytes, 0);
    }
    if (!read)
    {
        Log(LogLevel::Error, L"AuthorizationRequest::HashData, CryptGetHashParam failed, dwLastError =  0x%x",
            ::GetLastError());
        digest.clear();
    }
    return read;
}
