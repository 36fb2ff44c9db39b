#include "Logging/OBLogManager.h"

#include <gtest/gtest.h>

#include <string>

// A program of its own, because a full table stays full.
TEST(LoggerTable, SharesItsLastEntryWhenItIsFull)
{
    COBLoggerComponent& known = COBLogManager::GetLogger(L"KNOWN");
    for (int index = 0; index < 40; ++index)
        COBLogManager::GetLogger(L"FILL" + std::to_wstring(index));
    EXPECT_EQ(&COBLogManager::GetLogger(L"ONE_MORE"), &COBLogManager::GetLogger(L"ANOTHER"));
    EXPECT_EQ(&COBLogManager::GetLogger(L"KNOWN"), &known);
}
