#pragma once

#include "CameraSim/Http/HttpMessage.h"
#include "CameraSim/Http/ReplyScript.h"

#include <asio/ip/tcp.hpp>

#include <functional>
#include <string>

/// Takes a connection over for good, with the bytes that were read behind the request head.
using ConnectionTaker = std::function<void(asio::ip::tcp::socket socket, std::string bytesRead)>;

/// What a listening port serves. Called on the server's thread, one call at a time; must not block.
class IHttpHandler
{
public:
    virtual ~IHttpHandler() = default;

    virtual ReplyScript OnRequest(const HttpRequest& request) = 0;

    /// A request that could not be read; `partial` holds its head. The connection is closed behind the script.
    virtual ReplyScript OnRefused(const HttpRequest& partial, unsigned status, const std::string& why) = 0;

    /// Asked before the body is read. A non-empty answer gets the raw connection and is responsible for the reply.
    virtual ConnectionTaker TakesConnection(const HttpRequest&)
    {
        return {};
    }
};
