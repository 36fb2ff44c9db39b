#pragma once

#include "ComHosting/ComModule.h"
#include "ComHosting/WinApp.h"

/// Keeps the library loaded for as long as an object of ours lives: one count of the module's lock count.
class CObjectLock
{
public:
    CObjectLock() noexcept
    {
        CComModule::Get().Lock();
    }
    ~CObjectLock()
    {
        CComModule::Get().Unlock();
    }
    CObjectLock(const CObjectLock&) = delete;
    CObjectLock& operator=(const CObjectLock&) = delete;
};

/// Keeps the library loaded for as long as somebody else's thread may still call into it, whatever the clients hold:
/// whoever owes us a notification is given an object that has one of these as a member.
class CBackgroundWork
{
public:
    CBackgroundWork() noexcept
    {
        CWinApp::BeginBackgroundWork();
    }
    ~CBackgroundWork()
    {
        CWinApp::EndBackgroundWork();
    }
    CBackgroundWork(const CBackgroundWork&) = delete;
    CBackgroundWork& operator=(const CBackgroundWork&) = delete;
};
