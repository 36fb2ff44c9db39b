#pragma once

#include <windows.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <ostream>
#include <string>

/// Every call of the run: how many, with what result, how long at most, and whether one took longer than its limit.
/// Any thread.
class CCallBook
{
public:
    /// A call that has begun; it ends with the object. `name` is a literal.
    class COpen
    {
    public:
        COpen(CCallBook& book, const char* name, DWORD limitMs);
        ~COpen();
        COpen(const COpen&) = delete;
        COpen& operator=(const COpen&) = delete;
        HRESULT Done(HRESULT result) noexcept
        {
            return m_result = result;
        }

    private:
        friend class CCallBook;
        CCallBook& m_book;
        const char* const m_name;
        const DWORD m_limitMs;
        const ULONGLONG m_start = ::GetTickCount64();
        HRESULT m_result = E_UNEXPECTED;
    };

    /// The first call that took longer than its limit, or does so now; empty when there is none.
    std::string FindLate() const;
    std::uint64_t Count() const;
    void Print(std::ostream& out) const;

private:
    struct Line
    {
        std::uint64_t calls = 0;
        std::uint64_t successes = 0;
        ULONGLONG longestMs = 0;
        DWORD limitMs = 0;
    };
    void Begin(COpen* call);
    void End(COpen* call);
    static std::string Describe(const COpen& call, ULONGLONG elapsedMs);

    mutable std::mutex m_lock;
    std::map<std::string, Line> m_lines;
    std::map<COpen*, DWORD> m_open; ///< with the caller's thread
    std::string m_late;
};
