#include "Protocol/H264FormatParameters.h"

#include "Protocol/Base64.h"
#include "Protocol/TextUtil.h"
#include "Protocol/Tokenizer.h"

namespace
{
std::string DecodeParameterSet(std::string_view base64)
{
    base64 = TextUtil::Trim(base64);
    std::string bytes(Base64::Decode(base64), '\0');
    Base64::Decode(base64, bytes.data());
    return bytes;
}

void ParseParameter(std::string_view parameter, H264FormatParameters& result)
{
    // The first "=" only: the padding of a parameter set is part of the value.
    const std::size_t equalsSign = parameter.find('=');
    if (equalsSign == std::string_view::npos)
        return;
    const std::string_view key = TextUtil::Trim(parameter.substr(0, equalsSign));
    const std::string_view value = TextUtil::Trim(parameter.substr(equalsSign + 1));
    if (TextUtil::EqualsIgnoreCase(key, "profile-level-id"))
        result.profileLevelId = value;
    else if (TextUtil::EqualsIgnoreCase(key, "packetization-mode"))
        result.packetizationMode = TextUtil::ToNumber(value);
    else if (TextUtil::EqualsIgnoreCase(key, "sprop-parameter-sets"))
    {
        CTokenizer sets(value);
        result.parameterSet1 = DecodeParameterSet(sets.Next(','));
        result.parameterSet2 = DecodeParameterSet(sets.Next(','));
    }
}
} // namespace

H264FormatParameters H264FormatParameters::Parse(std::string_view fmtpParameters)
{
    H264FormatParameters result;
    CTokenizer parameters(fmtpParameters);
    for (std::string_view parameter = parameters.Next(';'); !parameter.empty(); parameter = parameters.Next(';'))
        ParseParameter(parameter, result);
    return result;
}
