#include <windows.h>

#include <thread>

/// Crashes while another thread waits. The test that runs it expects a failure: if a crash could pass for success, no
/// other test would be worth anything.
int main()
{
    std::thread other([] { ::WaitForSingleObject(::GetCurrentProcess(), 20000); });
    volatile int* volatile nowhere = nullptr;
    *nowhere = 1;
    other.join();
    return 0;
}
