#include "Authentication.h"

#include "Tests/Support/CapturingLogSink.h"
#include "Tests/Support/ImportPatch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <wincrypt.h>

#include <atomic>
#include <memory>
#include <regex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

QUORVANE_IMPORT_SLOT(s_acquireContextSlot, CryptAcquireContextW, 20);
QUORVANE_IMPORT_SLOT(s_releaseContextSlot, CryptReleaseContext, 8);
QUORVANE_IMPORT_SLOT(s_createHashSlot, CryptCreateHash, 20);
QUORVANE_IMPORT_SLOT(s_destroyHashSlot, CryptDestroyHash, 4);
QUORVANE_IMPORT_SLOT(s_hashDataSlot, CryptHashData, 16);
QUORVANE_IMPORT_SLOT(s_getHashParamSlot, CryptGetHashParam, 20);

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

// What is open at the moment, kept by the functions below, which pass on to the real ones.
std::atomic<int> s_openContexts{0};
std::atomic<int> s_openHashes{0};
std::atomic<int> s_acquireCalls{0};
int s_hashesBeforeFailure = -1; ///< the one after so many fails; negative: none does
std::vector<DWORD> s_hashedLengths;
DWORD s_failingParameter = 0;
decltype(&::CryptAcquireContextW) s_acquireContext;
decltype(&::CryptReleaseContext) s_releaseContext;
decltype(&::CryptCreateHash) s_createHash;
decltype(&::CryptDestroyHash) s_destroyHash;
decltype(&::CryptHashData) s_hashData;
decltype(&::CryptGetHashParam) s_getHashParam;

BOOL WINAPI CountAcquire(HCRYPTPROV* provider, LPCWSTR container, LPCWSTR name, DWORD type, DWORD flags)
{
    EXPECT_EQ(container, nullptr);
    EXPECT_EQ(name, nullptr);
    EXPECT_EQ(type, static_cast<DWORD>(PROV_RSA_FULL));
    EXPECT_EQ(flags, static_cast<DWORD>(CRYPT_VERIFYCONTEXT));
    ++s_acquireCalls;
    const BOOL result = s_acquireContext(provider, container, name, type, flags);
    s_openContexts += result ? 1 : 0;
    return result;
}
BOOL WINAPI CountRelease(HCRYPTPROV provider, DWORD flags)
{
    --s_openContexts;
    return s_releaseContext(provider, flags);
}
BOOL WINAPI CountCreate(HCRYPTPROV provider, ALG_ID algorithm, HCRYPTKEY key, DWORD flags, HCRYPTHASH* hash)
{
    const BOOL result = s_createHash(provider, algorithm, key, flags, hash);
    s_openHashes += result ? 1 : 0;
    return result;
}
BOOL WINAPI CountDestroy(HCRYPTHASH hash)
{
    --s_openHashes;
    return s_destroyHash(hash);
}
BOOL WINAPI FailOneParameter(HCRYPTHASH hash, DWORD parameter, BYTE* data, DWORD* length, DWORD flags)
{
    if (parameter != s_failingParameter)
        return s_getHashParam(hash, parameter, data, length, flags);
    ::SetLastError(0xBEEF);
    return FALSE;
}
BOOL WINAPI FailAcquire(HCRYPTPROV*, LPCWSTR, LPCWSTR, DWORD, DWORD)
{
    ::SetLastError(0xBEEF);
    return FALSE;
}
BOOL WINAPI FailCreate(HCRYPTPROV, ALG_ID, HCRYPTKEY, DWORD, HCRYPTHASH*)
{
    ::SetLastError(0xBEEF);
    return FALSE;
}
BOOL WINAPI RecordOrFailHash(HCRYPTHASH hash, const BYTE* data, DWORD lengthBytes, DWORD flags)
{
    s_hashedLengths.push_back(lengthBytes);
    if (s_hashesBeforeFailure >= 0 && s_hashesBeforeFailure-- == 0)
        return FALSE;
    return s_hashData(hash, data, lengthBytes, flags);
}
BOOL WINAPI FailHash(HCRYPTHASH, const BYTE*, DWORD, DWORD)
{
    ::SetLastError(0xBEEF);
    return FALSE;
}

template <class Function>
Function* Original(void* slot)
{
    return reinterpret_cast<Function*>(slot);
}

class HashData : public testing::Test
{
protected:
    HashData()
    {
        s_acquireContext = Original<decltype(::CryptAcquireContextW)>(s_acquireContextSlot);
        s_releaseContext = Original<decltype(::CryptReleaseContext)>(s_releaseContextSlot);
        s_createHash = Original<decltype(::CryptCreateHash)>(s_createHashSlot);
        s_destroyHash = Original<decltype(::CryptDestroyHash)>(s_destroyHashSlot);
        s_hashData = Original<decltype(::CryptHashData)>(s_hashDataSlot);
        s_getHashParam = Original<decltype(::CryptGetHashParam)>(s_getHashParamSlot);
        s_openContexts = 0;
        s_openHashes = 0;
        s_acquireCalls = 0;
        m_acquire = std::make_unique<CImportPatch>(&s_acquireContextSlot, &CountAcquire);
        m_release = std::make_unique<CImportPatch>(&s_releaseContextSlot, &CountRelease);
        m_create = std::make_unique<CImportPatch>(&s_createHashSlot, &CountCreate);
        m_destroy = std::make_unique<CImportPatch>(&s_destroyHashSlot, &CountDestroy);
    }

    static bool Hash(std::string_view data, std::string& hex)
    {
        std::string digest;
        if (!AuthorizationRequest::HashData(data.data(), static_cast<DWORD>(data.size()), digest))
            return false;
        hex.clear();
        for (const char byte : digest)
        {
            constexpr char kDigits[] = "0123456789abcdef";
            hex += {kDigits[static_cast<unsigned char>(byte) >> 4], kDigits[byte & 15]};
        }
        return true;
    }

    /// The lines of one hash that fails, and that nothing is left open.
    std::vector<std::wstring> LinesOfFailure()
    {
        CLogCapture log;
        {
            const AuthorizationRequest user;
            std::string hex;
            EXPECT_FALSE(Hash("abc", hex));
        }
        EXPECT_EQ(s_openContexts, 0);
        EXPECT_EQ(s_openHashes, 0);
        return log.Lines();
    }

private:
    std::unique_ptr<CImportPatch> m_acquire;
    std::unique_ptr<CImportPatch> m_release;
    std::unique_ptr<CImportPatch> m_create;
    std::unique_ptr<CImportPatch> m_destroy;
};

TEST_F(HashData, ComputesMd5AsRfc1321Does)
{
    CLogCapture log;
    AuthorizationRequest request;
    std::string hex;
    ASSERT_TRUE(Hash("", hex));
    EXPECT_EQ(hex, "d41d8cd98f00b204e9800998ecf8427e");
    ASSERT_TRUE(Hash("message digest", hex));
    EXPECT_EQ(hex, "f96b697d7cb7938d525a2f31aaf161d0");
    ASSERT_TRUE(Hash(std::string_view("a\0b", 3), hex));
    EXPECT_EQ(hex, "70350f6027bce3713f6b76473084309b");
    EXPECT_THAT(log.Lines(), IsEmpty());
    EXPECT_EQ(s_openHashes, 0);
}

TEST_F(HashData, LogsAContextThatCannotBeAcquired)
{
    const CImportPatch failing(&s_acquireContextSlot, &FailAcquire);
    EXPECT_THAT(LinesOfFailure(),
                ElementsAre(L"8 AuthorizationRequest::HashData, CryptAcquireContext failed, dwLastError = 0xbeef"));
}

TEST_F(HashData, LogsAHashThatCannotBeCreated)
{
    const CImportPatch failing(&s_createHashSlot, &FailCreate);
    EXPECT_THAT(LinesOfFailure(),
                ElementsAre(L"8 AuthorizationRequest::HashData, CryptCreateHash failed, dwLastError = 0xbeef"));
}

TEST_F(HashData, LogsDataThatCannotBeHashed)
{
    const CImportPatch failing(&s_hashDataSlot, &FailHash);
    EXPECT_THAT(LinesOfFailure(),
                ElementsAre(L"8 AuthorizationRequest::HashData, CryptHashData failed, dwLastError = 0xbeef"));
}

TEST_F(HashData, LogsAHashThatCannotBeRead)
{
    for (const DWORD parameter : {DWORD{HP_HASHSIZE}, DWORD{HP_HASHVAL}})
    {
        s_failingParameter = parameter;
        const CImportPatch failing(&s_getHashParamSlot, &FailOneParameter);
        EXPECT_THAT(LinesOfFailure(),
                    ElementsAre(L"8 AuthorizationRequest::HashData, CryptGetHashParam failed, dwLastError =  0xbeef"))
            << parameter;
    }
}

TEST_F(HashData, FallsBackToTheTickCountForTheSignature)
{
    const CImportPatch failing(&s_createHashSlot, &FailCreate);
    CLogCapture log(static_cast<std::uint32_t>(LogLevel::Debug));
    AuthorizationRequest request;
    const DWORD before = ::GetTickCount();
    const std::string signature = request.GenerateRandomSignature();
    const DWORD after = ::GetTickCount();
    ASSERT_TRUE(std::regex_match(signature, std::regex("[0-9a-f]{8}"))) << signature;
    EXPECT_LE(std::stoul(signature, nullptr, 16) - before, after - before);
    EXPECT_THAT(log.Lines(), ElementsAre(L"1 AuthorizationRequest::GenerateRandomSignature, HashData failed, use a "
                                         L"random number instead"));
}

TEST_F(HashData, HashesTheWholeRecordForTheSignature)
{
    s_hashedLengths.clear();
    const CImportPatch recording(&s_hashDataSlot, &RecordOrFailHash);
    AuthorizationRequest request;
    EXPECT_EQ(request.GenerateRandomSignature().size(), 32u);
    EXPECT_THAT(s_hashedLengths, ElementsAre(552u));
}

class DigestWithFailingHash : public HashData
{
protected:
    static constexpr char kChallenge[] = "Digest realm=\"cam\", nonce=\"abc\", qop=\"auth\"";
    static std::string Header(AuthorizationRequest& request)
    {
        return request.CreateAuthorizationCredentials(L"command/inquiry.cgi?inq=camera", L"GET");
    }
};

TEST_F(DigestWithFailingHash, MakesNoHeaderAndCountsNothing)
{
    // For MD5-sess: cnonce, the user's secret, the session key, HA2 and the response.
    const struct
    {
        const char* algorithm;
        int hashCount;
    } cases[] = {{"MD5", 4}, {"MD5-sess", 5}};
    for (const auto& each : cases)
    {
        for (int successes = 1; successes < each.hashCount; ++successes)
        {
            const CImportPatch recording(&s_hashDataSlot, &RecordOrFailHash);
            AuthorizationRequest request;
            request.SetCredentials(L"user", L"pass");
            request.SetAuthenticateResponse(std::string(kChallenge) + ", algorithm=" + each.algorithm);
            s_hashesBeforeFailure = successes;
            EXPECT_EQ(Header(request), "") << each.algorithm << ' ' << successes;
            const std::string header = Header(request);
            EXPECT_NE(header.find("nc=00000001"), std::string::npos) << each.algorithm << ' ' << successes;
            const std::string next = Header(request);
            EXPECT_NE(next.find("nc=00000002"), std::string::npos) << each.algorithm << ' ' << successes;
        }
    }
}

TEST_F(DigestWithFailingHash, HashesTheSecretOnlyOnceForANonce)
{
    const CImportPatch recording(&s_hashDataSlot, &RecordOrFailHash);
    AuthorizationRequest request;
    request.SetCredentials(L"user", L"pass");
    request.SetAuthenticateResponse(kChallenge);
    s_hashedLengths.clear();
    EXPECT_FALSE(Header(request).empty());
    EXPECT_EQ(s_hashedLengths.size(), 4u) << "cnonce, HA1, HA2 and the response";
    EXPECT_FALSE(Header(request).empty());
    EXPECT_EQ(s_hashedLengths.size(), 6u) << "HA2 and the response";
}

TEST_F(HashData, KeepsOneMoreContextWhileThoseWhoMayHashLive)
{
    std::string hex;
    auto first = std::make_unique<AuthorizationRequest>();
    auto second = std::make_unique<AuthorizationRequest>();
    EXPECT_EQ(s_acquireCalls, 0) << "objects that never hash cost nothing";
    ASSERT_TRUE(Hash("abc", hex));
    EXPECT_EQ(s_openContexts, 1);
    EXPECT_EQ(s_acquireCalls, 2) << "one to keep, and one for the hash";
    ASSERT_TRUE(Hash("abc", hex));
    EXPECT_EQ(s_acquireCalls, 3);
    first.reset();
    EXPECT_EQ(s_openContexts, 1);
    second.reset();
    EXPECT_EQ(s_openContexts, 0);

    const AuthorizationRequest later;
    ASSERT_TRUE(Hash("abc", hex));
    EXPECT_EQ(s_openContexts, 1) << "kept again after it has been given up";
}

TEST_F(HashData, ContextThatCannotBeKeptIsTriedAgain)
{
    std::string hex;
    const AuthorizationRequest user;
    {
        const CImportPatch failing(&s_acquireContextSlot, &FailAcquire);
        EXPECT_FALSE(Hash("abc", hex));
    }
    EXPECT_TRUE(Hash("abc", hex));
    EXPECT_EQ(s_openContexts, 1);
}

TEST_F(HashData, ThreadsThatStartTogetherKeepOneContext)
{
    constexpr int kThreads = 8;
    {
        const AuthorizationRequest user;
        std::vector<std::thread> threads;
        for (int index = 0; index < kThreads; ++index)
            threads.emplace_back([] {
                std::string hex;
                const AuthorizationRequest own;
                EXPECT_TRUE(Hash("abc", hex));
            });
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(s_openContexts, 1);
    }
    EXPECT_EQ(s_openContexts, 0);
}
} // namespace
