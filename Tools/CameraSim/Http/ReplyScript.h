#pragma once

#include <cstdint>
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
        Hold, ///< says nothing more and waits until the client gives up
        Close
    };

    Kind kind = Kind::Send;
    std::string bytes;
    std::uint32_t milliseconds = 0;

    static ReplyStep Send(std::string bytes)
    {
        return {Kind::Send, std::move(bytes), 0};
    }
    static ReplyStep SendSlowly(std::string bytes, std::uint32_t milliseconds)
    {
        return {Kind::SendSlowly, std::move(bytes), milliseconds};
    }
    static ReplyStep Wait(std::uint32_t milliseconds)
    {
        return {Kind::Wait, {}, milliseconds};
    }
    static ReplyStep Hold()
    {
        return {Kind::Hold, {}, 0};
    }
    static ReplyStep Close()
    {
        return {Kind::Close, {}, 0};
    }
};

using ReplyScript = std::vector<ReplyStep>;
