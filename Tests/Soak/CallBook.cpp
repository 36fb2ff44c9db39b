#include "Tests/Soak/CallBook.h"

#include <algorithm>
#include <iomanip>

CCallBook::COpen::COpen(CCallBook& book, const char* name, DWORD limitMs)
    : m_book(book), m_name(name), m_limitMs(limitMs)
{
    m_book.Begin(this);
}

CCallBook::COpen::~COpen()
{
    m_book.End(this);
}

void CCallBook::Begin(COpen* call)
{
    const std::lock_guard holder(m_lock);
    m_open.emplace(call, ::GetCurrentThreadId());
}

void CCallBook::End(COpen* call)
{
    const ULONGLONG elapsedMs = ::GetTickCount64() - call->m_start;
    const std::lock_guard holder(m_lock);
    m_open.erase(call);
    Line& line = m_lines[call->m_name];
    ++line.calls;
    line.successes += SUCCEEDED(call->m_result) ? 1 : 0;
    line.longestMs = std::max(line.longestMs, elapsedMs);
    line.limitMs = std::max(line.limitMs, call->m_limitMs);
    if (elapsedMs > call->m_limitMs && m_late.empty())
        m_late = Describe(*call, elapsedMs);
}

std::string CCallBook::FindLate() const
{
    const std::lock_guard holder(m_lock);
    const ULONGLONG now = ::GetTickCount64(); // behind the beginning of every call in the list
    for (const auto& [call, thread] : m_open)
        if (now - call->m_start > call->m_limitMs)
            return Describe(*call, now - call->m_start) + " and is still under way in thread " + std::to_string(thread);
    return m_late;
}

std::uint64_t CCallBook::Count() const
{
    const std::lock_guard holder(m_lock);
    std::uint64_t calls = 0;
    for (const auto& [name, line] : m_lines)
        calls += line.calls;
    return calls;
}

std::string CCallBook::Describe(const COpen& call, ULONGLONG elapsedMs)
{
    return std::string(call.m_name) + " took " + std::to_string(elapsedMs) + " ms, its limit is " +
           std::to_string(call.m_limitMs) + " ms";
}

void CCallBook::Print(std::ostream& out) const
{
    const std::lock_guard holder(m_lock);
    out << std::left << std::setw(26) << "method" << std::right << std::setw(8) << "calls" << std::setw(11)
        << "succeeded" << std::setw(12) << "longest ms" << std::setw(10) << "limit ms" << '\n';
    for (const auto& [name, line] : m_lines)
        out << std::left << std::setw(26) << name << std::right << std::setw(8) << line.calls << std::setw(11)
            << line.successes << std::setw(12) << line.longestMs << std::setw(10) << line.limitMs << '\n';
}
