#pragma once

/// Keeps the system's hash provider loaded while there is anybody who hashes again and again. The first context that a
/// process acquires loads and checks the provider, and releasing the last one unloads it; under Wine this costs more
/// than a whole request to a camera. One more context that stays open takes it away from all the others.
///
/// Any thread may call anything. Nothing fails: without the extra context hashing is only slower. A user must not come
/// or go in DllMain, because loading and unloading the provider takes the loader's lock; for the same reason the
/// system is never called under our own.
namespace WarmCryptoProvider
{
/// The context is released with the last user. Held by value by every object that hashes.
class CUser
{
public:
    CUser() noexcept;
    ~CUser();
    CUser(const CUser&) = delete;
    CUser& operator=(const CUser&) = delete;
};

/// Opens the context, unless it is open or nobody is there to use it. Called before each hash.
void KeepWarm() noexcept;
} // namespace WarmCryptoProvider
