#include "Win32/UniqueHandle.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <type_traits>
#include <utility>
#include <vector>

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<int> s_closed;

void RecordClose(int handle)
{
    s_closed.push_back(handle);
}

using CTestHandle = CUniqueHandle<int, &RecordClose>;

class UniqueHandle : public testing::Test
{
protected:
    void SetUp() override
    {
        s_closed.clear();
    }
};

static_assert(!std::is_copy_constructible_v<CTestHandle> && !std::is_copy_assignable_v<CTestHandle>);
static_assert(std::is_nothrow_move_constructible_v<CTestHandle>);

TEST_F(UniqueHandle, ClosesOnceWhenItDies)
{
    {
        const CTestHandle handle(7);
        EXPECT_EQ(handle.get(), 7);
        EXPECT_TRUE(handle);
    }
    EXPECT_THAT(s_closed, ElementsAre(7));
}

TEST_F(UniqueHandle, ClosesNothingWhenEmpty)
{
    {
        CTestHandle handle;
        EXPECT_FALSE(handle);
        handle.reset();
    }
    EXPECT_THAT(s_closed, IsEmpty());
}

TEST_F(UniqueHandle, ResetClosesTheOldAndOwnsTheNew)
{
    CTestHandle handle(1);
    handle.reset(2);
    EXPECT_THAT(s_closed, ElementsAre(1));
    handle.reset();
    handle.reset();
    EXPECT_THAT(s_closed, ElementsAre(1, 2));
}

TEST_F(UniqueHandle, MoveLeavesTheSourceEmpty)
{
    CTestHandle source(1);
    CTestHandle target(std::move(source));
    EXPECT_FALSE(source);
    CTestHandle assigned(2);
    assigned = std::move(target);
    EXPECT_THAT(s_closed, ElementsAre(2));
    EXPECT_EQ(assigned.get(), 1);
}

TEST_F(UniqueHandle, MoveToItselfKeepsTheHandle)
{
    CTestHandle handle(1);
    CTestHandle& same = handle;
    handle = std::move(same);
    EXPECT_EQ(handle.get(), 1);
    EXPECT_THAT(s_closed, IsEmpty());
}

TEST_F(UniqueHandle, ReleaseGivesTheHandleAway)
{
    {
        CTestHandle handle(1);
        EXPECT_EQ(handle.release(), 1);
    }
    EXPECT_THAT(s_closed, IsEmpty());
}

TEST_F(UniqueHandle, PutClosesWhatIsHeldAndTakesWhatIsWritten)
{
    {
        CTestHandle handle(1);
        int* const slot = handle.put();
        EXPECT_THAT(s_closed, ElementsAre(1));
        *slot = 2;
        EXPECT_EQ(handle.get(), 2);
    }
    EXPECT_THAT(s_closed, ElementsAre(1, 2));
}

/// An owner whose close function looks at the owner again, as a handle whose closing runs a callback does.
struct ReentrantOwner;
ReentrantOwner* s_owner = nullptr;
void CloseAndLook(int handle);
struct ReentrantOwner
{
    CUniqueHandle<int, &CloseAndLook> handle;
};
void CloseAndLook(int handle)
{
    s_closed.push_back(handle);
    if (s_owner->handle)
        s_closed.push_back(-1);
}

TEST_F(UniqueHandle, HasForgottenTheHandleWhileItIsBeingClosed)
{
    ReentrantOwner owner;
    s_owner = &owner;
    owner.handle.reset(5);
    owner.handle.reset();
    EXPECT_THAT(s_closed, ElementsAre(5));
}
} // namespace
