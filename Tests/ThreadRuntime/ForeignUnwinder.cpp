// The two functions that GCC's start-up code looks for in its shared unwinder.

namespace
{
long s_registrations = 0;
} // namespace

extern "C" __declspec(dllexport) void __register_frame_info(const void*, void*)
{
    ++s_registrations;
}

extern "C" __declspec(dllexport) void* __deregister_frame_info(const void*)
{
    return nullptr;
}

extern "C" __declspec(dllexport) long CountRegistrations()
{
    return s_registrations;
}
