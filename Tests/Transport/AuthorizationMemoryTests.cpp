#include "Authentication.h"
#include "Tests/Support/CountedAllocations.h"

#include <gtest/gtest.h>

#include <string>

namespace
{
// The arguments of the calls are made beforehand, so that the calls' own allocations fail; each text is longer than
// what a string holds without memory of its own.
const std::string kChallenge = "Digest realm=\"a realm that needs memory\", nonce=\"a nonce that needs memory\", "
                               "qop=\"auth\", opaque=\"an opaque that needs memory\"";
const std::string kStale =
    "Digest realm=\"a realm that needs memory\", nonce=\"another nonce with memory\", stale=true";

const std::wstring kUri = L"command/inquiry.cgi?inq=camera";
const std::wstring kMethod = L"GET";

constexpr unsigned kMaxAllocations = 400;

/// Lets allocation after allocation fail until one call gets through; nothing may escape and nothing half made stay.
template <class Call, class Check>
void FailEachAllocation(Call call, Check check)
{
    unsigned allowed = 0;
    for (; allowed < kMaxAllocations; ++allowed)
    {
        bool hasFailed = false;
        AuthorizationRequest request;
        request.SetCredentials(L"a user name that needs memory", L"a password that needs memory");
        {
            const CountedAllocations::CFailAfter limit(allowed);
            call(request);
            hasFailed = limit.HasFailed();
        }
        check(request, hasFailed);
        if (!hasFailed)
            break;
    }
    EXPECT_GT(allowed, 0u) << "the call never needed memory";
    EXPECT_LT(allowed, kMaxAllocations);
}

std::string Header(AuthorizationRequest& request)
{
    return request.CreateAuthorizationCredentials(kUri, kMethod);
}

TEST(AuthorizationWithoutMemory, CredentialsAreTakenAsAWholeOrNotAtAll)
{
    FailEachAllocation(
        [](AuthorizationRequest& request) {
            request.SetCredentials(L"another user name that needs memory", L"another password that needs memory");
        },
        [](AuthorizationRequest& request, bool hasFailed) {
            request.SetAuthenticateResponse("Basic realm=\"cam\"");
            EXPECT_EQ(request.CreateAuthorizationCredentials(L"a", L"GET").empty(), hasFailed);
        });
}

TEST(AuthorizationWithoutMemory, ChallengeIsTakenAsAWholeOrNotAtAll)
{
    FailEachAllocation(
        [](AuthorizationRequest& request) { request.SetAuthenticateResponse(kChallenge); },
        [](AuthorizationRequest& request, bool hasFailed) { EXPECT_EQ(Header(request).empty(), hasFailed); });
}

TEST(AuthorizationWithoutMemory, OldChallengeSurvivesANewOneThatCannotBeTaken)
{
    FailEachAllocation(
        [](AuthorizationRequest& request) {
            // Made while memory may be short as well: then there is no old challenge, and no header.
            request.SetAuthenticateResponse(kChallenge);
            request.SetAuthenticateResponse(kStale);
        },
        [](AuthorizationRequest& request, bool hasFailed) {
            const std::string header = Header(request);
            const bool isWhole = header.empty() || (header.find("opaque=\"an opaque that") != std::string::npos &&
                                                    header.find("nc=00000001") != std::string::npos);
            EXPECT_TRUE(isWhole) << header;
            if (!hasFailed)
            {
                EXPECT_NE(header.find("another nonce"), std::string::npos);
            }
        });
}

TEST(AuthorizationWithoutMemory, HeaderIsMadeAsAWholeOrNotAtAllAndCountedOnlyThen)
{
    FailEachAllocation(
        [](AuthorizationRequest& request) {
            request.SetAuthenticateResponse(kChallenge);
            (void)Header(request);
        },
        [](AuthorizationRequest& request, bool hasFailed) {
            const std::string header = Header(request);
            if (!header.empty())
            {
                EXPECT_NE(header.find(hasFailed ? "nc=00000001" : "nc=00000002"), std::string::npos) << header;
            }
        });
}
} // namespace
