#include "Win32/ComMemory.h"
#include "Win32/CriticalSection.h"
#include "Win32/Handles.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <thread>
#include <utility>

namespace
{
bool IsOpenHandle(HANDLE handle)
{
    DWORD flags = 0;
    return ::GetHandleInformation(handle, &flags) != FALSE;
}

TEST(KernelHandle, IsClosedByTheSystemWhenItDies)
{
    HANDLE raw = nullptr;
    {
        const CKernelHandle event(::CreateEventW(nullptr, FALSE, FALSE, nullptr));
        ASSERT_TRUE(event);
        raw = event.get();
        EXPECT_TRUE(IsOpenHandle(raw));
    }
    EXPECT_FALSE(IsOpenHandle(raw));
}

TEST(CryptoProvider, OwnsWhatCryptoFunctionsReturnThroughAPointer)
{
    CCryptoProvider provider;
    ASSERT_TRUE(::CryptAcquireContextW(provider.put(), nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT));
    CCryptoHash hash;
    ASSERT_TRUE(::CryptCreateHash(provider.get(), CALG_MD5, 0, 0, hash.put()));
    EXPECT_TRUE(hash);
    hash.reset();
    EXPECT_FALSE(hash);
}

TEST(Bstr, HoldsTextsWithEmbeddedNul)
{
    using namespace std::string_literals;
    const CBstr text = MakeBstr(L"a\0b"s);
    EXPECT_EQ(::SysStringLen(text.get()), 3u);
    EXPECT_EQ(::SysStringLen(MakeBstr(L"").get()), 0u);
    EXPECT_TRUE(MakeBstr(L"")) << "an empty BSTR is not a null one";
}

TEST(TaskMemory, IsHandedOverByRelease)
{
    CTaskMemory<std::uint32_t> block = AllocateTaskMemory<std::uint32_t>(3);
    ASSERT_TRUE(block);
    block.get()[2] = 7;
    std::uint32_t* const raw = block.release();
    EXPECT_FALSE(block);
    EXPECT_EQ(raw[2], 7u);
    ::CoTaskMemFree(raw);
}

TEST(TaskMemory, IsEmptyWhenTheSizeDoesNotFitTheAddressSpace)
{
    // Times eight, this wraps around to 8 bytes in 32 bits.
    EXPECT_FALSE(AllocateTaskMemory<std::uint64_t>(0x20000001u));
}

TEST(CriticalSection, IsRecursiveAndKeepsOtherThreadsOut)
{
    CCriticalSection section(Lifetime::LockRank::Object);
    int counter = 0;
    const auto count = [&section, &counter] {
        for (int round = 0; round < 20000; ++round)
        {
            const CCriticalSection::Holder outer(section);
            const CCriticalSection::Holder inner(section);
            const int value = counter;
            if (round % 64 == 0)
                std::this_thread::yield();
            counter = value + 1;
        }
    };
    std::thread other(count);
    count();
    other.join();
    EXPECT_EQ(counter, 40000);
}
} // namespace
