// Shows that ThreadSanitizer looks: "race" has two threads count without a lock; with "nothing" they hold one.

#include <cstring>
#include <mutex>
#include <thread>

namespace
{
int g_count = 0;
std::mutex g_lock;

void Count(bool isLocked)
{
    std::unique_lock holder(g_lock, std::defer_lock);
    if (isLocked)
        holder.lock();
    ++g_count;
}
} // namespace

int main(int count, char** arguments)
{
    const bool isLocked = count != 2 || std::strcmp(arguments[1], "race") != 0;
    std::thread other(&Count, isLocked);
    Count(isLocked);
    other.join();
    return g_count == 2 ? 0 : 1;
}
