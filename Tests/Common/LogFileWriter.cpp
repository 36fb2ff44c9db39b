// One of several processes that append to the same log file: LogFileWriter FILE TAG THREADS LINES.
#include "Logging/LogFileSink.h"

#include <windows.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

int main(int argc, char** argv)
{
    if (argc != 5)
        return 2;
    const std::wstring path(argv[1], argv[1] + std::string(argv[1]).size());
    const int threadCount = std::atoi(argv[3]);
    const int lineCount = std::atoi(argv[4]);
    const auto sink = std::make_shared<CLogFileSink>(path.c_str());
    if (!sink->IsOpen())
        return 1;
    COBLogManager::SetSink(sink, COBLogManager::kAllLevels);

    std::vector<std::thread> threads;
    for (int thread = 0; thread < threadCount; ++thread)
        threads.emplace_back([=] {
            const COBLoggerComponent& logger = COBLogManager::GetLogger(L"WRITER");
            for (int line = 0; line < lineCount; ++line)
                logger.Write(LogLevel::Debug, __FILE__, __LINE__,
                             COBLogManager::FormatStr(L"<%s %d %d %s>", argv[2], thread, line,
                                                      std::wstring(static_cast<std::size_t>(line % 97), L'x')));
        });
    for (std::thread& each : threads)
        each.join();
    return 0;
}
