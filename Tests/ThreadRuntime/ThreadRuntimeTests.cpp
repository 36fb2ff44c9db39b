#include "Tests/Support/HandleCount.h"
#include "Tests/Support/ImportPatch.h"
#include "Tests/Support/ImportTable.h"
#include "Tests/Support/TlsIndex.h"
#include "Win32/Handles.h"

#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <vector>

namespace
{
constexpr DWORD kLimitMs = 30000;

using ThrowAndCatch = BOOL(WINAPI*)(DWORD);
using ThrowLastError = DWORD(WINAPI*)();
using Constructions = long(WINAPI*)(long);

CLibraryHandle LoadProbe()
{
    return CLibraryHandle(::LoadLibraryW(L"thread_runtime_probe.dll"));
}

/// Names in a 32-bit DLL carry their stdcall decoration.
template <class Function>
Function Export(const CLibraryHandle& library, const char* name)
{
    return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(library.get(), name)));
}

/// A thread that runs one step for each time it is told to.
class CSteppedThread
{
public:
    explicit CSteppedThread(DWORD (*step)(void*), void* parameter) : m_step(step), m_parameter(parameter)
    {
        m_thread.reset(::CreateThread(nullptr, 0, &Run, this, 0, nullptr));
        EXPECT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(m_stepDone.get(), kLimitMs));
    }
    /// The thread's own end, with everything that the system does then.
    DWORD End()
    {
        ::SetEvent(m_mayEnd.get());
        EXPECT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(m_thread.get(), kLimitMs));
        DWORD code = 0;
        ::GetExitCodeThread(m_thread.get(), &code);
        return code;
    }

private:
    static DWORD WINAPI Run(void* parameter)
    {
        auto* const self = static_cast<CSteppedThread*>(parameter);
        const DWORD result = self->m_step(self->m_parameter);
        ::SetEvent(self->m_stepDone.get());
        ::WaitForSingleObject(self->m_mayEnd.get(), kLimitMs);
        return result;
    }

    DWORD (*m_step)(void*);
    void* m_parameter;
    CKernelHandle m_stepDone{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    CKernelHandle m_mayEnd{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    CKernelHandle m_thread;
};

DWORD ThrowInProbe(void* library)
{
    const auto function = Export<ThrowAndCatch>(*static_cast<CLibraryHandle*>(library), "ProbeThrowAndCatch@4");
    return function != nullptr && function(0) ? 1 : 0;
}

TEST(ThreadRuntime, LoadingAndThrowingLeavesNothingBehind)
{
    constexpr int kCycles = 200;
    {
        CLibraryHandle probe = LoadProbe();
        ASSERT_TRUE(ThrowInProbe(&probe));
    }
    const unsigned handles = CountOwnHandles();
    const DWORD tlsIndex = NextTlsIndex();
    for (int i = 0; i < kCycles; ++i)
    {
        CLibraryHandle probe = LoadProbe();
        ASSERT_TRUE(ThrowInProbe(&probe));
    }
    EXPECT_EQ(handles, CountOwnHandles());
    EXPECT_EQ(tlsIndex, NextTlsIndex());
}

TEST(ThreadRuntime, ThreadThatThrewHoldsNoHandle)
{
    CLibraryHandle probe = LoadProbe();
    ASSERT_TRUE(ThrowInProbe(&probe));
    CSteppedThread idle([](void*) -> DWORD { return 1; }, nullptr);
    const unsigned withIdleThread = CountOwnHandles();
    idle.End();
    CSteppedThread throwing(&ThrowInProbe, &probe);
    EXPECT_EQ(withIdleThread + 3, CountOwnHandles()) << "its events and the thread itself, nothing more";
    EXPECT_EQ(1u, throwing.End());
}

TEST(ThreadRuntime, ThreadMayEndAfterTheLibraryLeft)
{
    CLibraryHandle probe = LoadProbe();
    CSteppedThread thread(&ThrowInProbe, &probe);
    probe.reset();
    ASSERT_EQ(nullptr, ::GetModuleHandleW(L"thread_runtime_probe.dll"));
    EXPECT_EQ(1u, thread.End()) << "its data was freed with the library, so nothing calls back into it";
}

TEST(ThreadRuntime, ThrowingKeepsTheLastError)
{
    const CLibraryHandle probe = LoadProbe();
    EXPECT_EQ(4711u, Export<ThrowLastError>(probe, "ProbeThrowLastError@0")());
    EXPECT_TRUE(Export<ThrowAndCatch>(probe, "ProbeThrowAndCatch@4")(0));
    EXPECT_EQ(4711u, Export<ThrowLastError>(probe, "ProbeThrowLastError@0")());
}

TEST(ThreadRuntime, ThrowsInAHostThatHasTheSharedUnwinder)
{
    const CLibraryHandle unwinder(::LoadLibraryW(FOREIGN_UNWINDER));
    ASSERT_TRUE(unwinder);
    ASSERT_EQ(unwinder.get(), ::GetModuleHandleW(L"libgcc_s_dw2-1.dll"));
    const auto registrations = Export<long (*)()>(unwinder, "CountRegistrations");
    const long before = registrations();
    CLibraryHandle probe = LoadProbe();
    EXPECT_EQ(before, registrations()) << "the probe's tables are its own business";
    EXPECT_TRUE(ThrowInProbe(&probe));
}

TEST(ThreadRuntime, ThrowsWhenTheHostUsedUpTheFiberLocalSlots)
{
    constexpr std::size_t kMostSlots = 100000;
    std::vector<DWORD> slots;
    for (DWORD slot = ::FlsAlloc(nullptr); slot != FLS_OUT_OF_INDEXES; slot = ::FlsAlloc(nullptr))
    {
        slots.push_back(slot);
        if (slots.size() == kMostSlots)
            break;
    }
    const DWORD tlsIndex = NextTlsIndex();
    {
        CLibraryHandle probe = LoadProbe();
        EXPECT_TRUE(ThrowInProbe(&probe));
        EXPECT_NE(tlsIndex, NextTlsIndex()) << "a thread-local slot serves instead";
        CSteppedThread other(&ThrowInProbe, &probe);
        EXPECT_EQ(1u, other.End());
    }
    EXPECT_EQ(tlsIndex, NextTlsIndex());
    for (const DWORD slot : slots)
        ::FlsFree(slot);
    EXPECT_LT(slots.size(), kMostSlots);
}

void* RefuseMemory(std::size_t)
{
    return nullptr;
}

void* RefuseClearMemory(std::size_t, std::size_t)
{
    return nullptr;
}

DWORD ThrowLastErrorInProbe(void* library)
{
    return Export<ThrowLastError>(*static_cast<CLibraryHandle*>(library), "ProbeThrowLastError@0")();
}

TEST(ThreadRuntime, FirstExceptionOfAThreadNeedsNoMemory)
{
    CLibraryHandle probe = LoadProbe();
    std::deque<CImportPatch> patches;
    for (const ImportedFunction& function : ImportTable::Read(probe.get()))
    {
        if (function.name == "malloc")
            patches.emplace_back(function.slot, &RefuseMemory);
        if (function.name == "calloc")
            patches.emplace_back(function.slot, &RefuseClearMemory);
    }
    ASSERT_FALSE(patches.empty());
    CSteppedThread thread(&ThrowLastErrorInProbe, &probe);
    EXPECT_EQ(4711u, thread.End());
}

constexpr long kConstructingThreads = 4;

DWORD WINAPI ConstructInProbe(void* library)
{
    const auto function = Export<Constructions>(*static_cast<CLibraryHandle*>(library), "ProbeConstructions@4");
    return static_cast<DWORD>(function(kConstructingThreads));
}

TEST(ThreadRuntime, GuardedInitialisationRunsOnce)
{
    CLibraryHandle probe = LoadProbe();
    CKernelHandle threads[kConstructingThreads];
    for (CKernelHandle& thread : threads)
        thread.reset(::CreateThread(nullptr, 0, &ConstructInProbe, &probe, 0, nullptr));
    for (const CKernelHandle& thread : threads)
    {
        ASSERT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(thread.get(), kLimitMs));
        DWORD constructions = 0;
        ::GetExitCodeThread(thread.get(), &constructions);
        EXPECT_EQ(1u, constructions);
    }
}
} // namespace
