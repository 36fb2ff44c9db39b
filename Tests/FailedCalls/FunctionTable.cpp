#include "Tests/FailedCalls/FunctionTable.h"

#include "Tests/FailedCalls/Hook.h"

#include <wincrypt.h>
#include <wininet.h>

#include <objbase.h>
#include <oleauto.h>

#include <cstdlib>
#include <utility>

namespace
{
using Effect = Ownership::Effect;
using Kind = FunctionRow::Kind;

constexpr std::uintptr_t kInvalid = ~std::uintptr_t{0};

// How the functions of each family own what they open.
constexpr Ownership Opens(Resource kind)
{
    return {Effect::Opens, kind, Ownership::kResult, false, false};
}
constexpr Ownership OpensThrough(int argument, Resource kind, bool isZeroSuccess)
{
    return {Effect::Opens, kind, argument, true, isZeroSuccess};
}
constexpr Ownership Closes(Resource kind)
{
    return {Effect::Closes, kind, 0, false, false};
}
constexpr Ownership kOwnsNothing = {};

struct Expected
{
    std::vector<std::string> lines = {};
    std::vector<HRESULT> results = {E_FAIL};
};

FunctionRow Fails(CHookedFunction* hook, std::uintptr_t result, Ownership ownership, Expected expected,
                  const char* harmless = nullptr)
{
    hook->failure = {result, kInjectedError};
    hook->ownership = ownership;
    return {hook->name, Kind::Fails, harmless, hook, std::move(expected.lines), std::move(expected.results)};
}

/// A failure of this one cannot be noticed from outside, for the reason given.
FunctionRow Harmless(CHookedFunction* hook, std::uintptr_t result, const char* reason,
                     Ownership ownership = kOwnsNothing)
{
    return Fails(hook, result, ownership, {{}, {}}, reason);
}

FunctionRow Watched(CHookedFunction* hook, Ownership ownership, const char* reason)
{
    hook->ownership = ownership;
    return {hook->name, Kind::NeverFails, reason, hook};
}

void AddCrypto(std::vector<FunctionRow>& rows)
{
    const auto line = [](const std::string& call, const char* blanks = " ") {
        return "8 AuthorizationRequest::HashData, " + call + " failed, dwLastError =" + blanks + "0x718";
    };
    rows.push_back(Fails(QUORVANE_HOOK(CryptAcquireContextW), FALSE, OpensThrough(0, Resource::CryptoProvider, false),
                         {{line("CryptAcquireContext")}},
                         "a nonce can be made without a hash, and without the context that is kept only for speed"));
    const char* const nonce = "a nonce can be made without a hash";
    rows.push_back(Fails(QUORVANE_HOOK(CryptCreateHash), FALSE, OpensThrough(4, Resource::CryptoHash, false),
                         {{line("CryptCreateHash")}}, nonce));
    rows.back().isAlwaysLogged = true;
    rows.push_back(Fails(QUORVANE_HOOK(CryptHashData), FALSE, kOwnsNothing, {{line("CryptHashData")}}, nonce));
    rows.back().isAlwaysLogged = true;
    rows.push_back(
        Fails(QUORVANE_HOOK(CryptGetHashParam), FALSE, kOwnsNothing, {{line("CryptGetHashParam", "  ")}}, nonce));
    rows.back().isAlwaysLogged = true;
    const char* const own = "only fails for what is not a hash or a context";
    rows.push_back(Watched(QUORVANE_HOOK(CryptDestroyHash), Closes(Resource::CryptoHash), own));
    rows.push_back(Watched(QUORVANE_HOOK(CryptReleaseContext), Closes(Resource::CryptoProvider), own));
}

void AddRegistry(std::vector<FunctionRow>& rows)
{
    const char* const absent = "a setting that cannot be read counts as absent";
    rows.push_back(
        Harmless(QUORVANE_HOOK(RegOpenKeyExW), kInjectedError, absent, OpensThrough(4, Resource::RegistryKey, true)));
    rows.push_back(Harmless(QUORVANE_HOOK(RegQueryValueExW), kInjectedError, absent));
    rows.push_back(Fails(QUORVANE_HOOK(RegSetValueExW), kInjectedError, kOwnsNothing,
                         {{"1 CRtspClient::StartPlay, failed to save sequence numbers to registry"}, {}},
                         "the stream plays without its first sequence numbers"));
    rows.back().isAlwaysLogged = true;
    rows.push_back(
        Watched(QUORVANE_HOOK(RegCloseKey), Closes(Resource::RegistryKey), "only fails for what is not an open key"));
    rows.push_back({"RegDeleteKeyW", Kind::NotReached, "the class has no component categories"});
}

void AddFilesAndEvents(std::vector<FunctionRow>& rows)
{
    rows.push_back(Fails(QUORVANE_HOOK(CreateEventW), 0, Opens(Resource::Kernel),
                         {{"8 CAsyncHttpRequest::OpenSession failed to CreateEvent, dwLastError = 1816"}}));
    rows.push_back(
        Fails(QUORVANE_HOOK(WaitForSingleObject), WAIT_FAILED, kOwnsNothing,
              {{"failed to WaitForSingleObject, dwLastError = 1816", "failed to InternetReadFile, dwLastError = 1816",
                "failed to call InternetWriteFile, dwLastError = 1816"}},
              "a POST that is not known to be sent is found out by the first write to it"));
    rows.back().places = {{"CAsyncHttpRequestStreamPost::OpenStream", rows.back().reason},
                          {"CAsyncHttpRequestStreamPost::IsRequestSent", rows.back().reason}};
    const char* const log = "what cannot be logged is lost, and nothing else";
    rows.push_back(Harmless(QUORVANE_HOOK(CreateFileW), kInvalid, log, Opens(Resource::Kernel)));
    rows.push_back(Harmless(QUORVANE_HOOK(WriteFile), FALSE, log));
    rows.push_back(Harmless(QUORVANE_HOOK(LockFileEx), FALSE, "the line is written without the lock"));
    const char* const ours = "only fails for what is not a handle of ours";
    rows.push_back(Watched(QUORVANE_HOOK(CloseHandle), Closes(Resource::Kernel), ours));
    for (const char* name : {"ResetEvent", "SetEvent", "UnlockFileEx"})
        rows.push_back({name, Kind::NeverFails, ours});
}

void AddEnvironment(std::vector<FunctionRow>& rows)
{
    const char* const absent = "a setting that cannot be read counts as absent";
    rows.push_back(Harmless(QUORVANE_HOOK(GetEnvironmentVariableW), 0, absent));
    rows.push_back(Harmless(QUORVANE_HOOK(ExpandEnvironmentStringsW), 0, absent));
    rows.push_back(Harmless(QUORVANE_HOOK(GetComputerNameW), FALSE, "the nonce is made of enough without it"));
    rows.push_back(Harmless(QUORVANE_HOOK(QueryPerformanceCounter), FALSE, "the nonce is made of enough without it"));
    for (const char* name : {"GetCurrentThreadId", "GetLastError", "GetLocalTime", "GetTickCount", "SetLastError"})
        rows.push_back({name, Kind::NeverFails, "has no failure"});
}

void AddLibraries(std::vector<FunctionRow>& rows)
{
    const Expected notRegistered = {{"8 CComModule::RegisterServer, failed, hr = 0x80070718",
                                     "8 CComModule::UnregisterServer, failed, hr = 0x80070718"},
                                    {kInjectedResult}};
    rows.push_back(Fails(QUORVANE_HOOK(GetModuleFileNameW), 0, kOwnsNothing, notRegistered));
    rows.push_back(Fails(QUORVANE_HOOK(GetProcAddress), 0, kOwnsNothing, notRegistered));
    rows.push_back(Fails(QUORVANE_HOOK(LoadLibraryExW), 0, Opens(Resource::Library), notRegistered));
    rows.push_back(Fails(QUORVANE_HOOK(GetSystemDirectoryW), 0, kOwnsNothing, notRegistered));
    rows.push_back(Harmless(QUORVANE_HOOK(GetModuleHandleExW), FALSE,
                            "a timer does not hold the library while its callback runs, and a library that is to stay "
                            "for good is not pinned: two safeguards for clients that unload it too early, which no "
                            "session does; for the module that asks, the system has no reason to refuse"));
    rows.push_back(Watched(QUORVANE_HOOK(FreeLibrary), Closes(Resource::Library), "only fails for what is not loaded"));
    for (const char* name : {"GetModuleHandleW", "LoadLibraryA", "LoadLibraryW", "VirtualProtect", "VirtualQuery"})
        rows.push_back({name, Kind::NotReached, "the run-time library's, while the module is being loaded"});
}

void AddThreads(std::vector<FunctionRow>& rows)
{
    rows.push_back(Fails(QUORVANE_HOOK(InitializeCriticalSectionAndSpinCount), FALSE,
                         {Effect::Opens, Resource::CriticalSection, 0, false, false},
                         {{"8 CAVCommand, no object could be made, hr = 0x80070718",
                           "8 CRtspSessionManager::JoinRtspSession, no session could be made, hr = 0x80070718",
                           "8 CAsyncHttpRequest::SendRequest, no request could be made, hr = 0x80070718",
                           "8 CAsyncHttpRequestStream::OpenStream, no request could be made, hr = 0x80070718"},
                          {kInjectedResult, E_FAIL}}));
    rows.push_back(Fails(QUORVANE_HOOK(CreateThreadpoolTimer), 0, Opens(Resource::Timer),
                         {{"8 CRtspClient::CreatePingTimer, CreateThreadpoolTimer failed, dwLastError = 1816"}}));
    rows.push_back(
        Harmless(QUORVANE_HOOK(SleepConditionVariableSRW), FALSE,
                 "counts as the end of a bounded wait: a request's end is left to WinInet, and an exchange of "
                 "RTSP that another thread is inside is not entered (no session has two threads there)"));
    // What is thrown here is the failure of a lock, in the constructor of the object.
    const Expected thrown = {{"8 CAVCommand, no object could be made, hr = 0x80070718"}, {kInjectedResult}};
    rows.push_back(Fails(QUORVANE_HOOK(FlsAlloc), FLS_OUT_OF_INDEXES, kOwnsNothing, thrown));
    rows.back().needsThrow = true;
    rows.push_back(Fails(QUORVANE_HOOK(FlsSetValue), FALSE, kOwnsNothing, thrown));
    rows.back().needsThrow = true;
    // Its attributes would be ignored in a template argument: the type is written out.
    rows.push_back(
        Fails(&CHook<"calloc", void*(std::size_t, std::size_t)>::s_function, 0, Opens(Resource::Heap), thrown));
    rows.back().needsThrow = true;
    rows.push_back(Watched(QUORVANE_HOOK(DeleteCriticalSection), Closes(Resource::CriticalSection), "has no failure"));
    rows.push_back(Watched(QUORVANE_HOOK(CloseThreadpoolTimer), Closes(Resource::Timer), "has no failure"));
    rows.push_back(Watched(QUORVANE_HOOK(SetThreadpoolTimer), kOwnsNothing, "has no failure"));
    rows.push_back(Watched(QUORVANE_HOOK(Sleep), kOwnsNothing, "has no failure"));
    for (const char* name :
         {"AcquireSRWLockExclusive", "EnterCriticalSection", "InitializeCriticalSection", "LeaveCriticalSection",
          "ReleaseSRWLockExclusive", "WakeAllConditionVariable", "WakeConditionVariable"})
        rows.push_back({name, Kind::NeverFails, "has no failure"});
    for (const char* name : {"FlsFree", "FlsGetValue", "TlsGetValue"})
        rows.push_back({name, Kind::NeverFails, "only fails for what is not an index"});
    rows.push_back(
        {"InitOnceExecuteOnce", Kind::NeverFails, "only fails when the callback says so, and ours does not"});
    for (const char* name : {"TlsAlloc", "TlsFree", "TlsSetValue"})
        rows.push_back({name, Kind::NeverFails, "called where FlsAlloc has failed: two failures at once"});
}

void AddText(std::vector<FunctionRow>& rows)
{
    rows.push_back(Fails(QUORVANE_HOOK(MultiByteToWideChar), 0, kOwnsNothing,
                         {{"8 CAsyncHttpRequest::SendRequest, failed to MultiByteToWideChar, dwLastError = 1816"}}));
    rows.push_back(Fails(QUORVANE_HOOK(WideCharToMultiByte), 0, kOwnsNothing,
                         {{"8 AuthorizationRequest::CreateAuthorizationCredentials, failed to WideCharToMultiByte, "
                           "dwLastError = 1816"}},
                         "a request that is refused for want of credentials is sent once more, with them"));
    rows.push_back({"IsDBCSLeadByteEx", Kind::NotReached, "the C library's, for text that we do not convert with it"});
}

void AddMemory(std::vector<FunctionRow>& rows)
{
    const Expected outOfMemory = {{"out of memory", "8 CComModule::RegisterServer, failed, hr = 0x8007000e",
                                   "8 CComModule::UnregisterServer, failed, hr = 0x8007000e"},
                                  {E_OUTOFMEMORY, E_FAIL}};
    rows.push_back(Fails(&CHook<"malloc", void*(std::size_t)>::s_function, 0, Opens(Resource::Heap), outOfMemory,
                         "in few places only"));
    const char* const again = "a request that is refused for want of credentials is sent once more, with them";
    const char* const lost = "what cannot be logged is lost, and nothing else";
    rows.back().places = {
        {"AuthorizationRequest::CreateAuthorizationCredentials", again},
        {"AuthorizationRequest::CreateDigestAuthorizationCredentials", again},
        {"LogSettings::", "a setting of the log that cannot be read counts as absent"},
        {"COBLog", lost, true},
        {"CLogFileSink", lost, true},
        {"Log", lost, true},
    };
    const Expected always = {{"out of memory"}, {E_OUTOFMEMORY}};
    rows.push_back(Fails(QUORVANE_HOOK(CoTaskMemAlloc), 0, Opens(Resource::TaskMemory), always));
    rows.push_back(Fails(QUORVANE_HOOK(SysAllocStringLen), 0, Opens(Resource::Text), always));
    rows.push_back(Watched(QUORVANE_HOOK(free), Closes(Resource::Heap), "has no failure"));
    rows.push_back(Watched(QUORVANE_HOOK(CoTaskMemFree), Closes(Resource::TaskMemory), "has no failure"));
    rows.push_back(Watched(QUORVANE_HOOK(SysFreeString), Closes(Resource::Text), "has no failure"));
}

void AddRegistration(std::vector<FunctionRow>& rows)
{
    const Expected notRegistered = {{"8 CComModule::RegisterServer, failed, hr = 0x80070718",
                                     "8 CComModule::UnregisterServer, failed, hr = 0x80070718"},
                                    {kInjectedResult}};
    const auto failure = static_cast<std::uintptr_t>(kInjectedResult);
    rows.push_back(Fails(QUORVANE_HOOK(LoadTypeLibEx), failure, kOwnsNothing, notRegistered));
    rows.push_back(Fails(QUORVANE_HOOK(RegisterTypeLib), failure, kOwnsNothing, notRegistered));
    rows.push_back(Fails(QUORVANE_HOOK(UnRegisterTypeLib), failure, kOwnsNothing, notRegistered));
    for (const char* name : {"CoCreateInstance", "StringFromGUID2"})
        rows.push_back({name, Kind::NotReached, "the class has no component categories"});
}

void AddInternetConnections(std::vector<FunctionRow>& rows)
{
    rows.push_back(Fails(QUORVANE_HOOK(InternetOpenW), 0, Opens(Resource::Internet),
                         {{"8 CAsyncHttpRequest::OpenSession failed to InternetOpen, dwLastError = 1816"}}));
    rows.push_back(
        Fails(QUORVANE_HOOK(InternetSetStatusCallbackW), kInvalid, kOwnsNothing,
              {{"8 CAsyncHttpRequest::OpenSession failed to InternetSetStatusCallback, dwLastError = 1816"}},
              "a callback that cannot be taken away is not called any more: nothing is left to be notified about"));
    rows.push_back(
        Fails(QUORVANE_HOOK(InternetConnectW), 0, Opens(Resource::Internet),
              {{"8 CAsyncHttpRequest::OpenConnection, failed to open InternetConnect, dwLastError = 1816"}}));
    rows.push_back(Fails(QUORVANE_HOOK(HttpOpenRequestW), 0, Opens(Resource::Internet),
                         {{"failed to HttpOpenRequest, dwLastError = 1816"}}));
    rows.push_back(Harmless(QUORVANE_HOOK(InternetSetOptionW), FALSE, "WinInet's own time limits stay as they are"));
    rows.push_back(Watched(QUORVANE_HOOK(InternetCloseHandle), Closes(Resource::Internet),
                           "only fails for what is not an open handle"));
    rows.push_back(Fails(QUORVANE_HOOK(InternetCombineUrlA), FALSE, kOwnsNothing,
                         {{"1 CCgiCommandRtsp::CombineUrl, failed to combine base url"}},
                         "without the session's own URL the request goes to the default one"));
}

void AddInternetRequests(std::vector<FunctionRow>& rows)
{
    rows.push_back(Fails(QUORVANE_HOOK(HttpAddRequestHeadersA), FALSE, kOwnsNothing,
                         {{"8 CAsyncHttpRequest::DoSendRequest failed to HttpAddRequestHeaders, dwLastError = 1816"}}));
    rows.push_back(Fails(QUORVANE_HOOK(HttpSendRequestW), FALSE, kOwnsNothing,
                         {{"failed to HttpSendRequest, dwLastError = 1816"}}));
    rows.push_back(Fails(QUORVANE_HOOK(HttpQueryInfoA), FALSE, kOwnsNothing,
                         {{"8 CAsyncHttpRequest::HttpQueryInfoStringA, HttpQueryInfo failed, dwLastError = 1816"}},
                         "what a failed request's status is called is for the log"));
    rows.push_back(Fails(QUORVANE_HOOK(HttpQueryInfoW), FALSE, kOwnsNothing,
                         {{"failed to HttpQueryInfo for status code, dwLastError = 1816",
                           "failed to HttpQueryInfo for content length, dwLastError = 1816"}},
                         "a POST whose answer cannot be read is taken for ended, and the tunnel is opened anew"));
    rows.push_back(Fails(QUORVANE_HOOK(InternetReadFile), FALSE, kOwnsNothing,
                         {{"8 CAsyncHttpRequest::SendRequest, failed to InternetReadFile, dwLastError = 1816"}}));
    rows.push_back(Fails(QUORVANE_HOOK(InternetQueryDataAvailable), FALSE, kOwnsNothing,
                         {{"8 CAsyncHttpRequestStream::Read, failed to InternetQueryDataAvailable, dwLastError = 1816",
                           "1 CAsyncHttpRequestStream::WaitForResponse, ReadContentText failed"}}));
    rows.push_back(Fails(QUORVANE_HOOK(InternetReadFileExW), FALSE, kOwnsNothing,
                         {{"8 CAsyncHttpRequestStream::ReadContent, failed to InternetReadFile, dwLastError = 1816"}}));
    rows.push_back(Fails(QUORVANE_HOOK(InternetWriteFile), FALSE, kOwnsNothing,
                         {{"8 CAsyncHttpRequestStream::Write, failed to call InternetWriteFile, dwLastError = 1816"}}));
}

void AddCLibrary(std::vector<FunctionRow>& rows)
{
    for (const char* name : {"_errno", "memchr", "memcmp", "memcpy", "memmove", "memset", "rand", "strchr", "strcmp",
                             "strlen", "strncmp", "wcslen", "iswctype", "__mb_cur_max", "_lock", "_unlock"})
        rows.push_back({name, Kind::NeverFails, "has no failure"});
    for (const char* name : {"_amsg_exit", "_initterm", "_iob", "abort", "fputc", "fputs", "fputwc", "fwprintf",
                             "fwrite", "vfprintf", "_read", "_close", "strerror", "realloc"})
        rows.push_back({name, Kind::NotReached, "the run-time library's, for its last words and what we do not use"});
    for (const char* name : {"atoi", "localeconv", "setlocale"})
        rows.push_back({name, Kind::NotReached, "the run-time library's, for formats and locales that we do not use"});
}
} // namespace

const std::vector<FunctionRow>& FunctionTable()
{
    static const std::vector<FunctionRow> rows = [] {
        std::vector<FunctionRow> all;
        for (const auto add :
             {&AddCrypto, &AddRegistry, &AddFilesAndEvents, &AddEnvironment, &AddLibraries, &AddThreads, &AddText,
              &AddMemory, &AddRegistration, &AddInternetConnections, &AddInternetRequests, &AddCLibrary})
            add(all);
        return all;
    }();
    return rows;
}
