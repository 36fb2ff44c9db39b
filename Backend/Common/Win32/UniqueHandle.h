#pragma once

#include <utility>

/// Move-only owner of one operating-system handle; a handle type is one line (see Handles.h).
/// Close is called once for every handle that is owned when the object dies or takes another one.
/// Not thread-safe: two threads must not use one object at the same time.
template <class Handle, auto Close>
class CUniqueHandle
{
public:
    CUniqueHandle() noexcept = default;
    explicit CUniqueHandle(Handle handle) noexcept : m_handle(handle) {}
    CUniqueHandle(CUniqueHandle&& other) noexcept : m_handle(other.release()) {}
    CUniqueHandle& operator=(CUniqueHandle&& other) noexcept
    {
        // Safe for an object moved to itself: it has nothing to close by the time it takes its handle back.
        reset(other.release());
        return *this;
    }
    CUniqueHandle(const CUniqueHandle&) = delete;
    CUniqueHandle& operator=(const CUniqueHandle&) = delete;
    ~CUniqueHandle()
    {
        reset();
    }

    Handle get() const noexcept
    {
        return m_handle;
    }
    explicit operator bool() const noexcept
    {
        return m_handle != Handle{};
    }
    void reset(Handle handle = Handle{}) noexcept
    {
        // Forget first, close second: closing may call back into the owner.
        if (Handle old = std::exchange(m_handle, handle))
            Close(old);
    }
    [[nodiscard]] Handle release() noexcept
    {
        return std::exchange(m_handle, Handle{});
    }
    /// For functions that return a handle through a pointer; closes what is held first.
    Handle* put() noexcept
    {
        reset();
        return &m_handle;
    }

private:
    Handle m_handle{};
};
