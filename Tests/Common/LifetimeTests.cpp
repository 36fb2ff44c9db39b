#include "Lifetime/Lifetime.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

namespace
{
using Lifetime::CCheckedMark;
using Lifetime::CCheckedUser;
using Lifetime::LockRank;

/// Collects what would end the process.
class LifetimeChecks : public testing::Test
{
protected:
    void SetUp() override
    {
        s_failures.clear();
        Lifetime::s_onFailure = [](const char* text) { s_failures.emplace_back(text); };
    }
    void TearDown() override
    {
        Lifetime::s_onFailure = nullptr;
    }
    using Texts = std::vector<std::string>;
    static inline Texts s_failures;
};

TEST_F(LifetimeChecks, MarkTellsTheDeadFromTheLiving)
{
    alignas(CCheckedMark) unsigned char memory[sizeof(CCheckedMark)] = {};
    CCheckedMark* const mark = new (memory) CCheckedMark;
    mark->Check("alive");
    EXPECT_EQ(Texts{}, s_failures);
    mark->~CCheckedMark();
    mark->Check("destroyed");
    EXPECT_EQ(Texts{"destroyed"}, s_failures);
}

TEST_F(LifetimeChecks, MarkOfMemoryThatWasNeverAnObjectIsDead)
{
    alignas(CCheckedMark) unsigned char memory[sizeof(CCheckedMark)] = {};
    std::launder(reinterpret_cast<CCheckedMark*>(memory))->Check("never made");
    EXPECT_EQ(Texts{"never made"}, s_failures);
}

TEST_F(LifetimeChecks, KeptMemoryStillShowsItsMarkAfterDelete)
{
    struct Kept : Lifetime::CheckedKeptMemory
    {
        CCheckedMark mark;
    };
    const std::unique_ptr<unsigned char[]> memory(new unsigned char[sizeof(Kept)]); // freed here, not by the delete
    Kept* const kept = new (memory.get()) Kept;
    CCheckedMark& mark = kept->mark;
    delete kept;
    mark.Check("deleted");
    EXPECT_EQ(Texts{"deleted"}, s_failures);
}

TEST_F(LifetimeChecks, OneThreadMayEnterAgain)
{
    CCheckedUser user;
    {
        const Lifetime::CStay outer(user, "outer");
        const Lifetime::CStay inner(user, "inner");
        EXPECT_TRUE(user.IsOwn());
    }
    EXPECT_FALSE(user.IsOwn());
    EXPECT_EQ(Texts{}, s_failures);
}

TEST_F(LifetimeChecks, SecondThreadAtOnceIsNoticed)
{
    CCheckedUser user;
    const Lifetime::CStay stay(user, "first");
    std::thread([&] {
        user.Enter("second");
        user.CheckIsOwn("not its own");
    }).join();
    EXPECT_EQ((Texts{"second", "not its own"}), s_failures);
}

TEST_F(LifetimeChecks, SecondThreadAfterwardsIsWelcome)
{
    CCheckedUser user;
    {
        const Lifetime::CStay stay(user, "first");
    }
    std::thread([&] { const Lifetime::CStay stay(user, "second"); }).join();
    EXPECT_EQ(Texts{}, s_failures);
}

TEST_F(LifetimeChecks, LocksInTheirOrderAreTakenAndReleased)
{
    for (int round = 0; round < 2; ++round)
    {
        for (const LockRank rank : {LockRank::Object, LockRank::SessionManager, LockRank::Session,
                                    LockRank::ExchangeGate, LockRank::Request, LockRank::Leaf})
            Lifetime::Checked::EnterLock(rank);
        // In any order: a lock that is released early is nobody's obstacle.
        for (const LockRank rank : {LockRank::Leaf, LockRank::Object, LockRank::Request, LockRank::SessionManager,
                                    LockRank::ExchangeGate, LockRank::Session})
            Lifetime::Checked::LeaveLock(rank);
    }
    EXPECT_EQ(Texts{}, s_failures);
}

TEST_F(LifetimeChecks, LockBehindOneThatComesAfterItIsNoticed)
{
    const struct
    {
        const char* reason;
        LockRank held;
        LockRank taken;
    } rows[] = {
        {"the object's lock comes first", LockRank::SessionManager, LockRank::Object},
        {"manager before session", LockRank::Session, LockRank::SessionManager},
        {"a keep-alive holds the gate and must not wait for a session", LockRank::ExchangeGate, LockRank::Session},
        {"nothing is taken behind a leaf", LockRank::Leaf, LockRank::Request},
        {"not even another leaf", LockRank::Leaf, LockRank::Leaf},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        s_failures.clear();
        Lifetime::Checked::EnterLock(row.held);
        Lifetime::Checked::EnterLock(row.taken);
        EXPECT_EQ(1u, s_failures.size());
        Lifetime::Checked::LeaveLock(row.held);
        if (row.taken != row.held)
            Lifetime::Checked::LeaveLock(row.taken);
    }
}

TEST_F(LifetimeChecks, LockOfAnotherThreadIsNotReleased)
{
    Lifetime::Checked::EnterLock(LockRank::Session);
    std::thread([] { Lifetime::Checked::LeaveLock(LockRank::Session); }).join();
    EXPECT_EQ(Texts{"a lock is released by a thread that does not hold it"}, s_failures);
    Lifetime::Checked::LeaveLock(LockRank::Session);
    EXPECT_EQ(1u, s_failures.size());
}

TEST_F(LifetimeChecks, CallThatNeedsTheLocksFreeNoticesOneThatIsHeld)
{
    Lifetime::Checked::EnterLock(LockRank::ExchangeGate);
    Lifetime::Checked::RequireNoLockFrom(LockRank::Request, "request or leaf");
    EXPECT_EQ(Texts{}, s_failures) << "the gate may be held";
    Lifetime::Checked::EnterLock(LockRank::Leaf);
    Lifetime::Checked::RequireNoLockFrom(LockRank::Request, "request or leaf");
    EXPECT_EQ(Texts{"request or leaf"}, s_failures);
    Lifetime::Checked::LeaveLock(LockRank::Leaf);
    Lifetime::Checked::LeaveLock(LockRank::ExchangeGate);
}

// What every other build has instead costs nothing.
struct Unchecked
{
    int value = 0;
    [[no_unique_address]] Lifetime::NoMark mark;
    [[no_unique_address]] Lifetime::NoUser user;
};
static_assert(sizeof(Unchecked) == sizeof(int));
static_assert(Lifetime::kIsChecked == std::is_same_v<Lifetime::CMark, CCheckedMark>);
} // namespace
