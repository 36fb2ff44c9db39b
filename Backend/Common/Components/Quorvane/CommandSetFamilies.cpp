#include "CommandSetFamilies.h"

#include "CgiCommandAxis.h"
#include "CgiCommandIpela.h"

namespace
{
template <class CommandSet>
std::unique_ptr<CCgiCommandBase> Create(CAsyncHttpRequest& httpRequest)
{
    return std::make_unique<CommandSet>(&httpRequest);
}

constexpr CommandSetFamily kFamilies[] = {
    {L"IPELA", &Create<CCgiCommandIpela>},
    {L"AXIS", &Create<CCgiCommandAxis>},
};
} // namespace

std::span<const CommandSetFamily> CommandSetFamilies() noexcept
{
    return kFamilies;
}
