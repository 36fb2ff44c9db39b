// Whole requests of the component against the smallest WinInet loop that does the same, on the same server, in turn,
// round by round; what counts is the median of the ratios of the pairs. See docs/benchmarks.md.

#include "HttpRequest.h"
#include "Quorvane.h"
#include "RawRequestLoop.h"
#include "Win32/ComMemory.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace
{
constexpr int kWarmUpRounds = 30;
constexpr wchar_t kServer[] = L"127.0.0.1";
constexpr wchar_t kUrl[] = L"command/camera.cgi?BitRate1=1024";

struct Bar
{
    const char* what;
    std::function<bool()> measured;
    std::function<bool()> reference;
    double atMost;
};

double Seconds(const std::function<bool()>& request)
{
    LARGE_INTEGER frequency, start, end;
    ::QueryPerformanceFrequency(&frequency);
    ::QueryPerformanceCounter(&start);
    if (!request())
    {
        std::fprintf(stderr, "a request failed; is the server of this benchmark running?\n");
        std::exit(1);
    }
    ::QueryPerformanceCounter(&end);
    return static_cast<double>(end.QuadPart - start.QuadPart) / static_cast<double>(frequency.QuadPart);
}

double Quantile(std::vector<double> values, double part)
{
    std::ranges::sort(values);
    return values[static_cast<std::size_t>(part * static_cast<double>(values.size() - 1))];
}

bool Measure(const Bar& bar, int rounds)
{
    std::vector<double> ratios;
    for (int round = -kWarmUpRounds; round < rounds; ++round)
    {
        // The order changes from round to round, so that neither side always finds the caches warmed by the other.
        const bool measuredFirst = round % 2 == 0;
        const double first = Seconds(measuredFirst ? bar.measured : bar.reference);
        const double second = Seconds(measuredFirst ? bar.reference : bar.measured);
        if (round >= 0)
            ratios.push_back(measuredFirst ? first / second : second / first);
    }
    const double median = Quantile(ratios, 0.5);
    const bool holds = median <= bar.atMost;
    std::printf("%-38s %6.3f   (quartiles %.3f .. %.3f)   at most %.2f: %s\n", bar.what, median, Quantile(ratios, 0.25),
                Quantile(ratios, 0.75), bar.atMost, holds ? "holds" : "MISSED");
    return holds;
}

bool Send(CAsyncHttpRequest& http)
{
    DWORD statusCode = 0;
    std::wstring body;
    return http.SendRequest(kUrl, statusCode, body, L"GET", 4000) == S_OK && body.size() >= 1024;
}

/// The command object of the DLL beside this program, without registration.
IAVCommand5* CreateCommand(CLibraryHandle& library)
{
    library.reset(::LoadLibraryW(L"Quorvane.dll"));
    using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
    const auto getClassObject =
        reinterpret_cast<GetClassObject>(reinterpret_cast<void*>(::GetProcAddress(library.get(), "DllGetClassObject")));
    IClassFactory* factory = nullptr;
    IAVCommand5* command = nullptr;
    if (getClassObject == nullptr ||
        FAILED(getClassObject(CLSID_AVCommand, IID_IClassFactory, reinterpret_cast<void**>(&factory))) ||
        FAILED(factory->CreateInstance(nullptr, IID_IAVCommand5, reinterpret_cast<void**>(&command))))
    {
        std::fprintf(stderr, "Quorvane.dll beside this program does not yield its object.\n");
        std::exit(1);
    }
    factory->Release();
    return command;
}
} // namespace

int main(int argc, char** argv)
{
    if (argc != 4)
    {
        std::fprintf(stderr, "usage: RequestBenchmark OPEN-PORT DIGEST-PORT ROUNDS (started by ./dev bench request)\n");
        return 2;
    }
    const WORD openPort = static_cast<WORD>(std::strtoul(argv[1], nullptr, 10));
    const WORD digestPort = static_cast<WORD>(std::strtoul(argv[2], nullptr, 10));
    const int rounds = static_cast<int>(std::strtol(argv[3], nullptr, 10));

    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    bool hold = true;
    {
        CRawRequestLoop raw(kServer, openPort);
        std::string rawBody;
        CAsyncHttpRequest open;
        CAsyncHttpRequest digest;
        CLibraryHandle library;
        IAVCommand5* command = CreateCommand(library);
        const bool ready = open.OpenConnection(kServer, openPort, L"", L"") == S_OK &&
                           digest.OpenConnection(kServer, digestPort, L"user", L"password") == S_OK &&
                           command->OpenConnection(MakeBstr(kServer).get(), openPort, nullptr, nullptr) == S_OK;
        if (!ready)
            return 1;
        const auto rawGet = [&] { return raw.Get(kUrl, rawBody) && rawBody.size() >= 1024; };
        const Bar bars[] = {
            {"raw loop / raw loop (noise)", rawGet, rawGet, 1.05},
            {"SendRequest / raw loop", [&] { return Send(open); }, rawGet, 1.05},
            {"COM call (SetBitRate) / raw loop", [&] { return command->SetBitRate(1024) == S_OK; }, rawGet, 1.10},
            {"Digest SendRequest / open SendRequest", [&] { return Send(digest); }, [&] { return Send(open); }, 1.60},
        };
        std::printf("median of the ratios of %d pairs\n", rounds);
        for (const Bar& bar : bars)
            hold = Measure(bar, rounds) && hold;
        command->Release();
    }
    ::CoUninitialize();
    return hold ? 0 : 1;
}
