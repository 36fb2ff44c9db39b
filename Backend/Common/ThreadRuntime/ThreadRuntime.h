#pragma once

/// The few POSIX thread functions that GCC's exception handling and C++ library need, made of Win32 primitives.
///
/// The library that the compiler brings for this (winpthreads) is made for programs, not for a DLL that is loaded into
/// somebody else's process and leaves it again: each load takes a TLS index and two handles of the loading thread for
/// good (after some thousand loads the process has no TLS index left), each thread that ever catches an exception gets
/// two more handles, and a process-wide exception handler is installed. None of that happens here.
///
/// ThreadLocals.cpp stands in for GCC's own thread-local variables, which end the process when memory is short.
/// Linked with it comes UnwinderRegistration.cpp, without which a throw would end a host that has GCC's shared unwinder
/// loaded.
///
/// Only what GCC's run-time libraries call is here; code of ours uses Win32 primitives directly. All of it may be
/// called on any thread, also inside DllMain.
namespace ThreadRuntime
{
/// The calling thread ends: from DllMain.
void EndThread() noexcept;

/// Frees what all threads keep in here; the library's static destructors must not throw afterwards.
/// Called once, when the library is about to leave a living process: a thread that ends later would run code that is
/// no longer there.
void ReleaseThreadData() noexcept;
} // namespace ThreadRuntime
