#pragma once

#include <cstdint>

/// The HRESULT that an HTTP status code stands for:
/// 200 and 204 S_OK; other 2xx the success code 0x000C0000 | status; 401 E_ACCESSDENIED; every other code from 100 to
/// 505 the failure 0x800C0000 | status; anything else E_FAIL, logged. 500 is S_OK on purpose: cameras answer with an
/// explanation in the body, which the caller wants to read.
std::int32_t HResultFromHttpStatusCode(std::uint32_t statusCode) noexcept;
