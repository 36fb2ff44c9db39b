#pragma once

#include <windows.h>

#include <stdexcept>
#include <utility>
#include <vector>

/// Which handles a process that is started inherits, for STARTUPINFOEXW::lpAttributeList. Without it the process gets
/// every inheritable handle of this one, also those that another thread has just opened for a process of its own, and
/// keeps them open. Borrows the handles, which must be inheritable and each given once; must live until the process has
/// been started. Throws std::runtime_error.
class CInheritedHandles
{
public:
    explicit CInheritedHandles(std::vector<HANDLE> handles) : m_handles(std::move(handles))
    {
        if (!::UpdateProcThreadAttribute(get(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, m_handles.data(),
                                         m_handles.size() * sizeof(HANDLE), nullptr, nullptr))
            throw std::runtime_error("what a child inherits cannot be said");
    }
    CInheritedHandles(const CInheritedHandles&) = delete;
    CInheritedHandles& operator=(const CInheritedHandles&) = delete;

    LPPROC_THREAD_ATTRIBUTE_LIST get() noexcept
    {
        return m_list.get();
    }

private:
    /// A list for one attribute. A member of its own, so that it is deleted also when nothing can be put into it.
    class CList
    {
    public:
        CList()
        {
            SIZE_T sizeBytes = 0;
            ::InitializeProcThreadAttributeList(nullptr, 1, 0, &sizeBytes);
            m_memory.resize(sizeBytes);
            if (!::InitializeProcThreadAttributeList(get(), 1, 0, &sizeBytes))
                throw std::runtime_error("a list of what a child inherits cannot be made");
        }
        ~CList()
        {
            ::DeleteProcThreadAttributeList(get());
        }
        CList(const CList&) = delete;
        CList& operator=(const CList&) = delete;

        LPPROC_THREAD_ATTRIBUTE_LIST get() noexcept
        {
            return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(m_memory.data());
        }

    private:
        std::vector<char> m_memory;
    };

    std::vector<HANDLE> m_handles; ///< the list refers to them
    CList m_list;
};
