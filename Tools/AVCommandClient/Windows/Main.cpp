#include "Client.h"
#include "Core/ExitCode.h"
#include "Windows/ComponentHost.h"
#include "Windows/RunningStreams.h"
#include "Windows/Text.h"

#include <windows.h>

#include <shellapi.h>

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <span>

namespace
{
/// Lets the console read the output as the UTF-8 that it is, and puts the console back at the end.
class CConsoleEncoding
{
public:
    CConsoleEncoding() noexcept : m_before(::GetConsoleOutputCP())
    {
        ::SetConsoleOutputCP(CP_UTF8);
    }
    ~CConsoleEncoding()
    {
        ::SetConsoleOutputCP(m_before);
    }
    CConsoleEncoding(const CConsoleEncoding&) = delete;
    CConsoleEncoding& operator=(const CConsoleEncoding&) = delete;

private:
    UINT m_before;
};

using CArgumentBlock = CUniqueHandle<wchar_t**, &::LocalFree>;

/// The command line as it was typed: the narrow one has lost every character outside the system's code page.
std::vector<std::string> CommandLineWords()
{
    int count = 0;
    const CArgumentBlock block(::CommandLineToArgvW(::GetCommandLineW(), &count));
    std::vector<std::string> words;
    if (!block || count < 1)
        return words;
    for (const wchar_t* word : std::span(block.get(), static_cast<std::size_t>(count)).subspan(1))
        words.push_back(Text::ToUtf8(word));
    return words;
}

std::optional<std::string> EnvironmentPassword()
{
    const wchar_t* const value = ::_wgetenv(L"AVCOMMAND_PASSWORD");
    return value ? std::optional(Text::ToUtf8(value)) : std::nullopt;
}

std::unique_ptr<IComponentHost> MakeHost(const ClientArguments& arguments, std::ostream* trace)
{
    const bool isRegistered = !arguments.isUnregistered && arguments.dllPath.empty();
    return std::make_unique<CComponentHost>(isRegistered, arguments.dllPath, CCallTrace(trace));
}

volatile std::sig_atomic_t g_isInterrupted = 0;

/// Ctrl+C ends a stream properly; every other command has ended before it could matter.
StreamSurroundings MakeStreaming()
{
    return {[]() -> std::unique_ptr<IMediaReceiver> {
                std::signal(SIGINT, [](int) { g_isInterrupted = 1; });
                return std::make_unique<CUdpMediaReceiver>();
            },
            [] { return g_isInterrupted != 0; }, std::make_shared<CRunningStreams>()};
}
} // namespace

int main()
{
    const CConsoleEncoding encoding;
    try
    {
        return Client::Run(CommandLineWords(),
                           {EnvironmentPassword(), std::cin, {std::cout, std::cerr}, &MakeHost, MakeStreaming()});
    }
    catch (const std::exception& error)
    {
        std::cerr << "avcommand: " << error.what() << '\n';
        return ExitCode::kFailure;
    }
}
