#include "Windows/RunningStreams.h"

#include "Win32/Handles.h"
#include "Windows/Text.h"

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

namespace
{
constexpr int kMaxStreams = 16;
constexpr std::chrono::milliseconds kPollInterval{20};

/// What two processes share. A request is a number that grows by kStep, and in its low bits what is asked; done is the
/// last request that the stream has carried out.
struct SharedBlock
{
    static constexpr std::uint32_t kStep = 4;

    std::atomic<std::uint32_t> request;
    std::atomic<std::uint32_t> done;
};
static_assert(std::atomic<std::uint32_t>::is_always_lock_free);

void ReleaseView(SharedBlock* view) noexcept
{
    ::UnmapViewOfFile(view);
}
using CBlockView = CUniqueHandle<SharedBlock*, &ReleaseView>;

/// The memory and its name's owner, in the order in which they must go.
struct Block
{
    CKernelHandle mapping;
    CBlockView view;
};

std::wstring NameOf(const std::string& camera, int slot)
{
    std::wstring name = Text::ToWide(camera);
    // A backslash would name another folder of the system's objects.
    std::ranges::replace(name, L'\\', L'/');
    return L"Local\\Quorvane.avcommand." + name + L"." + std::to_wstring(slot);
}

CBlockView MapView(const CKernelHandle& mapping)
{
    return CBlockView(static_cast<SharedBlock*>(
        ::MapViewOfFile(mapping.get(), FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, sizeof(SharedBlock))));
}

class CStreamTicket final : public IStreamTicket
{
public:
    explicit CStreamTicket(Block block) noexcept : m_block(std::move(block)) {}

    std::optional<StreamRequest> Pending() override
    {
        m_taken = m_block.view.get()->request;
        if (m_taken == m_block.view.get()->done)
            return std::nullopt;
        return static_cast<StreamRequest>(m_taken % SharedBlock::kStep);
    }
    void Done() override
    {
        m_block.view.get()->done = m_taken;
    }

private:
    Block m_block;
    std::uint32_t m_taken = 0;
};

struct Asked
{
    Block block;
    std::uint32_t request;

    bool IsDone() const
    {
        return block.view.get()->done == request;
    }
};

std::vector<Asked> AskAll(const std::string& camera, StreamRequest request)
{
    std::vector<Asked> asked;
    for (int slot = 0; slot < kMaxStreams; ++slot)
    {
        const std::wstring name = NameOf(camera, slot);
        Block block;
        block.mapping.reset(::OpenFileMappingW(FILE_MAP_READ | FILE_MAP_WRITE, FALSE, name.c_str()));
        if (block.mapping)
            block.view = MapView(block.mapping);
        if (!block.view)
            continue;
        const std::uint32_t last = block.view.get()->request;
        const std::uint32_t next =
            last - last % SharedBlock::kStep + SharedBlock::kStep + static_cast<std::uint32_t>(request);
        block.view.get()->request = next;
        asked.push_back({std::move(block), next});
    }
    return asked;
}
} // namespace

std::unique_ptr<IStreamTicket> CRunningStreams::Announce(const std::string& camera)
{
    for (int slot = 0; slot < kMaxStreams; ++slot)
    {
        Block block;
        block.mapping.reset(::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(SharedBlock),
                                                 NameOf(camera, slot).c_str()));
        const bool isTaken = ::GetLastError() == ERROR_ALREADY_EXISTS;
        if (!block.mapping || isTaken)
            continue;
        block.view = MapView(block.mapping);
        if (block.view)
            return std::make_unique<CStreamTicket>(std::move(block));
    }
    return nullptr;
}

IRunningStreams::Answer CRunningStreams::Ask(const std::string& camera, StreamRequest request,
                                             std::chrono::milliseconds limit)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    const std::vector<Asked> asked = AskAll(camera, request);
    const auto countDone = [&asked] { return std::ranges::count_if(asked, &Asked::IsDone); };
    while (countDone() < std::ssize(asked) && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(kPollInterval);
    return {static_cast<int>(asked.size()), static_cast<int>(countDone())};
}
