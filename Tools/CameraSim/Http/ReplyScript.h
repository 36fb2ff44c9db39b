#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

/// What a connection does to answer one request, step by step; faults are nothing but unusual scripts.
struct ReplyStep
{
    enum class Kind
    {
        Send,
        SendSlowly, ///< byte by byte, `milliseconds` apart
        Wait,
        Hold,      ///< says nothing more and waits until the client gives up
        Call,      ///< runs `action` when everything before it has left
        HalfClose, ///< ends what is sent, goes on with the script
        Reset,     ///< closes without regard to what is on its way
        Close
    };

    Kind kind = Kind::Send;
    std::string bytes;
    std::uint32_t milliseconds = 0;
    std::function<void()> action;

    static ReplyStep Send(std::string bytes)
    {
        return {Kind::Send, std::move(bytes), 0, {}};
    }
    static ReplyStep SendSlowly(std::string bytes, std::uint32_t milliseconds)
    {
        return {Kind::SendSlowly, std::move(bytes), milliseconds, {}};
    }
    static ReplyStep Wait(std::uint32_t milliseconds)
    {
        return {Kind::Wait, {}, milliseconds, {}};
    }
    static ReplyStep Hold()
    {
        return {Kind::Hold, {}, 0, {}};
    }
    static ReplyStep Call(std::function<void()> action)
    {
        return {Kind::Call, {}, 0, std::move(action)};
    }
    static ReplyStep HalfClose()
    {
        return {Kind::HalfClose, {}, 0, {}};
    }
    static ReplyStep Reset()
    {
        return {Kind::Reset, {}, 0, {}};
    }
    static ReplyStep Close()
    {
        return {Kind::Close, {}, 0, {}};
    }
};

using ReplyScript = std::vector<ReplyStep>;
