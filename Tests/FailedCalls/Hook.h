#pragma once

#include "Tests/FailedCalls/FaultPlan.h"

#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>

/// The text of a function's name as a template argument, so that each function has a hook of its own.
template <std::size_t N>
struct HookName
{
    consteval HookName(const char (&name)[N])
    {
        std::copy_n(name, N, text);
    }
    char text[N] = {};
};

namespace HookDetail
{
/// Every argument and result of the functions in the table is one machine word.
template <class T>
std::uintptr_t Word(const T& value) noexcept
{
    if constexpr (std::is_class_v<T>)
        return reinterpret_cast<std::uintptr_t>(&value); // passed by reference
    else if constexpr (std::is_pointer_v<T>)
        return reinterpret_cast<std::uintptr_t>(value);
    else
        return static_cast<std::uintptr_t>(value);
}

template <class T>
T FromWord(std::uintptr_t word) noexcept
{
    if constexpr (std::is_pointer_v<T>)
        return reinterpret_cast<T>(word);
    else
        return static_cast<T>(word);
}

/// Lets the call fail when it is its turn; otherwise makes it and keeps account of what it has opened or closed.
template <class Result, class Function, class... Arguments>
Result Intercept(CHookedFunction& function, const void* site, Arguments... arguments)
{
    if (FaultPlan::Takes(function, site))
    {
        ::SetLastError(function.failure.lastError);
        if constexpr (!std::is_void_v<Result>)
            return FromWord<Result>(function.failure.result);
        else
            return;
    }
    const auto original = reinterpret_cast<Function>(function.original);
    const std::uintptr_t words[] = {Word(arguments)..., 0};
    function.BeforeCall(words);
    if constexpr (std::is_void_v<Result>)
    {
        original(arguments...);
        function.AfterCall(words, 1);
    }
    else
    {
        const Result result = original(arguments...);
        function.AfterCall(words, Word(result));
        return result;
    }
}
} // namespace HookDetail

/// Stands in the import table for one function. Function is its type.
template <HookName Name, class Function>
class CHook;

template <HookName Name, class Result, class... Arguments>
class CHook<Name, Result WINAPI(Arguments...)>
{
public:
    static Result WINAPI Call(Arguments... arguments)
    {
        return HookDetail::Intercept<Result, Result(WINAPI*)(Arguments...), Arguments...>(
            s_function, __builtin_return_address(0), arguments...);
    }
    static inline CHookedFunction s_function{Name.text, reinterpret_cast<void*>(&Call)};
};

template <HookName Name, class Result, class... Arguments>
class CHook<Name, Result(Arguments...)>
{
public:
    static Result Call(Arguments... arguments)
    {
        return HookDetail::Intercept<Result, Result (*)(Arguments...), Arguments...>(
            s_function, __builtin_return_address(0), arguments...);
    }
    static inline CHookedFunction s_function{Name.text, reinterpret_cast<void*>(&Call)};
};

/// The hook of a function that the Windows headers declare.
#define QUORVANE_HOOK(function) (&CHook<#function, decltype(::function)>::s_function)
