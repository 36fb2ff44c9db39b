#pragma once

#include "CameraSim/Axis/AxisModel.h"
#include "CameraSim/Camera/CameraFamily.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The parameters of one Axis camera: the tree that param.cgi lists and updates, with the values that each parameter
/// accepts. Names are kept without the "root." in front and are taken with it or without.
/// Not thread-safe.
class CAxisParameters
{
public:
    /// `factory`: as out of the box, where the RTSP server is off, audio is G.726, rate and group length change with
    /// the picture, and groups are long; otherwise as clients want it.
    CAxisParameters(std::string_view modelName, VideoStandard standard, bool factory);

    /// The lines of a parameter or of everything below a group; empty when there is no such thing.
    /// A parameter that is asked for by its own name is listed under the name as it was asked for; below a group every
    /// name begins with "root.".
    std::string List(std::string_view group) const;
    /// False, and nothing has changed, when there is no such parameter or it does not take that value.
    bool Update(std::string_view name, std::string_view value);
    void Force(std::string_view name, std::optional<std::string> value);

    std::vector<CameraSetting> All() const;
    /// Empty when there is none of that name.
    std::string Get(std::string_view name) const;
    /// 0 when there is none, or when it is no number.
    int Number(std::string_view name) const;
    /// 0 x 0 when the resolution is none.
    AxisSize Resolution() const;

private:
    using Rule = std::function<bool(std::string_view)>;

    struct Entry
    {
        std::string name;
        std::string value;
        Rule rule; ///< empty: read-only
    };

    void AddIdentity(std::string_view modelName);
    void AddProperties(const AxisModel& model);
    void AddPicture(const AxisModel& model, VideoStandard standard, bool factory);
    void AddSources(const AxisModel& model, VideoStandard standard, bool factory);
    void AddNetwork(bool factory);
    void Add(std::string name, std::string value, Rule rule = {});
    Entry* Find(std::string_view name);
    const Entry* Find(std::string_view name) const;

    std::vector<Entry> m_entries;
};
