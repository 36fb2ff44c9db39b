#pragma once

#include "Tests/Support/ImportPatch.h"

#include <windows.h>

#include <wininet.h>

#include <algorithm>
#include <functional>
#include <mutex>
#include <vector>

QUORVANE_IMPORT_SLOT(g_httpOpenRequestSlot, HttpOpenRequestW, 32);
QUORVANE_IMPORT_SLOT(g_internetCloseHandleSlot, InternetCloseHandle, 4);

/// Watches which handles are closed, how often and in which order, and lets a test do something at the very moment at
/// which a request is closed: races are made, not waited for. One at a time; any thread may call what it watches.
class CWinInetSpy
{
public:
    struct Request
    {
        HINTERNET handle;
        DWORD_PTR context;
    };

    CWinInetSpy()
        : m_openPatch(&g_httpOpenRequestSlot, &OpenRequest), m_closePatch(&g_internetCloseHandleSlot, &CloseHandle)
    {
        s_current = this;
    }
    ~CWinInetSpy()
    {
        s_current = nullptr;
    }
    CWinInetSpy(const CWinInetSpy&) = delete;
    CWinInetSpy& operator=(const CWinInetSpy&) = delete;

    /// Called on the closing thread before a request's handle is closed. Set before the threads start.
    std::function<void(const Request&)> beforeClose;

    std::vector<Request> Requests() const
    {
        const std::lock_guard lock(m_mutex);
        return m_requests;
    }
    /// The handles whose close has returned, in order.
    std::vector<HINTERNET> Closed() const
    {
        const std::lock_guard lock(m_mutex);
        return m_closed;
    }
    std::size_t CountCloses(HINTERNET handle) const
    {
        const std::lock_guard lock(m_mutex);
        return static_cast<std::size_t>(std::ranges::count(m_closed, handle));
    }

private:
    static HINTERNET WINAPI OpenRequest(HINTERNET connection, LPCWSTR verb, LPCWSTR url, LPCWSTR version,
                                        LPCWSTR referrer, LPCWSTR* acceptTypes, DWORD flags, DWORD_PTR context)
    {
        const HINTERNET handle = OriginalOfWinInet<decltype(::HttpOpenRequestW)>("HttpOpenRequestW")(
            connection, verb, url, version, referrer, acceptTypes, flags, context);
        const std::lock_guard lock(s_current->m_mutex);
        s_current->m_requests.push_back({handle, context});
        s_current->m_openRequests.push_back({handle, context});
        return handle;
    }

    static BOOL WINAPI CloseHandle(HINTERNET handle)
    {
        Request request = {};
        {
            const std::lock_guard lock(s_current->m_mutex);
            auto& open = s_current->m_openRequests;
            const auto found = std::ranges::find(open, handle, &Request::handle);
            if (found != open.end())
            {
                request = *found;
                open.erase(found);
            }
        }
        if (request.handle != nullptr && s_current->beforeClose)
            s_current->beforeClose(request);
        const BOOL closed = OriginalOfWinInet<decltype(::InternetCloseHandle)>("InternetCloseHandle")(handle);
        const std::lock_guard lock(s_current->m_mutex);
        s_current->m_closed.push_back(handle);
        return closed;
    }

    static inline CWinInetSpy* s_current = nullptr;
    mutable std::mutex m_mutex;
    std::vector<Request> m_requests;
    std::vector<Request> m_openRequests; // the value of one that is closed may come back, as that of a connection too
    std::vector<HINTERNET> m_closed;
    CImportPatch m_openPatch;
    CImportPatch m_closePatch;
};
