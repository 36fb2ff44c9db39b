#include "Tests/Support/SoundHeaps.h"

#include <cstdio>
#include <cstring>

/// Does to the heap what no code should: ./dev check heap shows with it that it would notice.
/// usage: HeapProbe nothing|overrun|late-write|second-free
int main(int count, char** arguments)
{
    const HANDLE heap = ::GetProcessHeap();
    const auto is = [&](const char* what) { return count == 2 && std::strcmp(arguments[1], what) == 0; };
    auto* const block = static_cast<volatile char*>(::HeapAlloc(heap, 0, 100));
    const auto free = [&] { ::HeapFree(heap, 0, const_cast<char*>(block)); };
    if (is("overrun"))
        block[100] = 1;
    else
        free();
    if (is("late-write"))
        block[50] = 1;
    if (is("second-free"))
        free();
    std::puts(AreHeapsSound() ? "sound" : "damaged");
    return 0;
}
