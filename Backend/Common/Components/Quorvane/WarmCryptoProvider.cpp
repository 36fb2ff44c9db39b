#include "WarmCryptoProvider.h"

#include "Threading/LeafLock.h"
#include "Win32/Handles.h"

#include <utility>

namespace
{
// Plain values: when the module is unloaded with users left, nothing is called any more.
constinit CLeafLock s_lock;
constinit unsigned s_userCount = 0;
constinit HCRYPTPROV s_provider = 0;

bool IsMissing() noexcept
{
    const CLeafLock::Holder holder(s_lock);
    return s_provider == 0 && s_userCount != 0;
}
} // namespace

WarmCryptoProvider::CUser::CUser() noexcept
{
    const CLeafLock::Holder holder(s_lock);
    ++s_userCount;
}

WarmCryptoProvider::CUser::~CUser()
{
    CCryptoProvider last; // released after the lock
    const CLeafLock::Holder holder(s_lock);
    if (--s_userCount == 0)
        last.reset(std::exchange(s_provider, 0));
}

void WarmCryptoProvider::KeepWarm() noexcept
{
    if (!IsMissing())
        return;
    CCryptoProvider provider; // released after the lock when another thread was faster
    if (!::CryptAcquireContextW(provider.put(), nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT))
        return;
    const CLeafLock::Holder holder(s_lock);
    if (s_provider == 0 && s_userCount != 0)
        s_provider = provider.release();
}
