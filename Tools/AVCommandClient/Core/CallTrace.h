#pragma once

#include "Core/HResult.h"

#include <chrono>
#include <ostream>
#include <string_view>

/// Writes one line for each traced call: its name, result and duration. Without a sink it only makes the call.
/// Borrows the sink. Arguments are never written, so that no password can be.
class CCallTrace
{
public:
    explicit CCallTrace(std::ostream* sink) noexcept : m_sink(sink) {}

    template <class Call>
    HResult Run(std::string_view name, Call&& call) const
    {
        const auto start = std::chrono::steady_clock::now();
        const HResult hr = call();
        if (m_sink)
        {
            using Milliseconds = std::chrono::duration<double, std::milli>;
            Write(name, hr, Milliseconds(std::chrono::steady_clock::now() - start).count());
        }
        return hr;
    }

private:
    void Write(std::string_view name, HResult hr, double durationMs) const;

    std::ostream* m_sink;
};
