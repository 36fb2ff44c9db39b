#pragma once

#include <windows.h>

/// Recursive lock of one process.
/// A function whose caller must hold the lock takes a `const CCriticalSection::Holder&`: only a holder can make one.
class CCriticalSection
{
public:
    class [[nodiscard]] Holder
    {
    public:
        explicit Holder(CCriticalSection& section) noexcept : m_section(section)
        {
            ::EnterCriticalSection(&m_section.m_section);
        }
        ~Holder()
        {
            ::LeaveCriticalSection(&m_section.m_section);
        }
        Holder(const Holder&) = delete;
        Holder& operator=(const Holder&) = delete;

    private:
        CCriticalSection& m_section;
    };

    /// Throws the HRESULT made from the system error when the system cannot create the lock.
    CCriticalSection()
    {
        if (!::InitializeCriticalSectionAndSpinCount(&m_section, 0))
            throw static_cast<HRESULT>(HRESULT_FROM_WIN32(::GetLastError()));
    }
    ~CCriticalSection()
    {
        ::DeleteCriticalSection(&m_section);
    }
    CCriticalSection(const CCriticalSection&) = delete;
    CCriticalSection& operator=(const CCriticalSection&) = delete;

private:
    CRITICAL_SECTION m_section;
};
