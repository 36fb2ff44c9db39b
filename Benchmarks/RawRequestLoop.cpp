#include "RawRequestLoop.h"

namespace
{
constexpr DWORD kWaitMs = 10000;
}

CRawRequestLoop::CRawRequestLoop(const wchar_t* server, WORD port)
    : m_completed(::CreateEventW(nullptr, FALSE, FALSE, nullptr)),
      m_session(::InternetOpenW(L"raw loop", INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr,
                                INTERNET_FLAG_ASYNC | INTERNET_FLAG_NO_CACHE_WRITE))
{
    ::InternetSetStatusCallbackW(m_session.get(), &StatusCallback);
    m_connection.reset(
        ::InternetConnectW(m_session.get(), server, port, nullptr, nullptr, INTERNET_SERVICE_HTTP, 0, 0));
}

CRawRequestLoop::~CRawRequestLoop()
{
    m_connection.reset();
    ::InternetSetStatusCallbackW(m_session.get(), nullptr);
}

void CALLBACK CRawRequestLoop::StatusCallback(HINTERNET, DWORD_PTR context, DWORD status, LPVOID information, DWORD)
{
    if (context == 0 || status != INTERNET_STATUS_REQUEST_COMPLETE)
        return;
    CRawRequestLoop* self = reinterpret_cast<CRawRequestLoop*>(context);
    const auto* result = static_cast<const INTERNET_ASYNC_RESULT*>(information);
    self->m_error = result->dwResult != 0 ? 0 : result->dwError;
    ::SetEvent(self->m_completed.get());
}

bool CRawRequestLoop::Completed()
{
    return ::GetLastError() == ERROR_IO_PENDING && ::WaitForSingleObject(m_completed.get(), kWaitMs) == WAIT_OBJECT_0 &&
           m_error == 0;
}

bool CRawRequestLoop::Get(const wchar_t* url, std::string& body)
{
    body.clear();
    const CInternetHandle request(::HttpOpenRequestW(m_connection.get(), L"GET", url, L"HTTP/1.1", nullptr, nullptr,
                                                     INTERNET_FLAG_RELOAD | INTERNET_FLAG_KEEP_CONNECTION,
                                                     reinterpret_cast<DWORD_PTR>(this)));
    if (!request || (!::HttpSendRequestW(request.get(), nullptr, 0, nullptr, 0) && !Completed()))
        return false;
    DWORD statusCode = 0;
    DWORD sizeBytes = sizeof(statusCode);
    if (!::HttpQueryInfoW(request.get(), HTTP_QUERY_STATUS_CODE | HTTP_QUERY_FLAG_NUMBER, &statusCode, &sizeBytes,
                          nullptr) ||
        statusCode != HTTP_STATUS_OK)
        return false;
    do
    {
        m_bytesRead = 0;
        if (!::InternetReadFile(request.get(), m_buffer, sizeof(m_buffer) - 1, &m_bytesRead) && !Completed())
            return false;
        body.append(m_buffer, m_bytesRead);
    } while (m_bytesRead != 0);
    return true;
}
