#pragma once

#include "Win32/Handles.h"

#include <windows.h>

#include <wininet.h>

#include <string>

/// The smallest asynchronous WinInet exchange that fetches one page: what the component's requests are measured
/// against. No time limits beyond one per wait, no logging, no settings, no credentials, no lifetimes.
class CRawRequestLoop
{
public:
    CRawRequestLoop(const wchar_t* server, WORD port);
    ~CRawRequestLoop();
    CRawRequestLoop(const CRawRequestLoop&) = delete;
    CRawRequestLoop& operator=(const CRawRequestLoop&) = delete;

    /// GET of `url`; the whole body into `body`. False when anything fails.
    bool Get(const wchar_t* url, std::string& body);

private:
    static void CALLBACK StatusCallback(HINTERNET, DWORD_PTR context, DWORD status, LPVOID information, DWORD);
    bool Completed();

    CKernelHandle m_completed;
    CInternetHandle m_session;
    CInternetHandle m_connection;
    DWORD m_error = 0;
    DWORD m_bytesRead = 0;
    char m_buffer[4096];
};
