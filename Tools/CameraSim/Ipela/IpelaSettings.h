#pragma once

#include "CameraSim/Camera/CameraFamily.h"
#include "CameraSim/Ipela/IpelaModel.h"
#include "CameraSim/Text/QueryString.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The settings of one IPELA camera: the names its family uses, the values it accepts, and what follows from what.
/// A change is carried out whole or not at all. Not thread-safe.
class CIpelaSettings
{
public:
    /// `factory`: as out of the box, where the video is JPEG, the rate control on and the audio input off; otherwise
    /// ready to stream.
    CIpelaSettings(const IpelaModel& model, VideoStandard standard, bool factory);

    CIpelaSettings(const CIpelaSettings&) = delete;
    CIpelaSettings& operator=(const CIpelaSettings&) = delete;

    /// Empty when everything was accepted; else why nothing was changed.
    std::string Change(const std::vector<QueryString::Parameter>& parameters);
    void Force(std::string_view name, std::optional<std::string> value);

    std::vector<CameraSetting> All() const;
    /// Empty when there is none of that name.
    std::string Get(std::string_view name) const;
    /// One line of name=value joined by "&", as the camera answers an inquiry.
    std::string InquiryLine() const;

    /// Empty when streams can start; else which setting stands in the way.
    std::string WhyNotStreaming() const;
    unsigned FrameRate() const;
    unsigned BitRate() const;

    /// The names that differ between the two families ("ImageCodec1" or "ImageCodec", ...).
    std::string CodecName() const;
    std::string RateControlName() const;
    std::string FrameRateName() const;
    std::string BitRateName() const;
    std::string SizeName() const;
    /// "McAddress1" or "McAddress".
    std::string StreamName(std::string_view name) const;

private:
    /// The form in which an accepted value is kept; nothing when the camera has no such value.
    using Rule = std::function<std::optional<std::string>(std::string_view)>;

    struct Entry
    {
        std::string name;
        std::string value;
        Rule rule; ///< empty: read-only
    };

    void AddVideo(bool factory);
    void AddSecondStream();
    void AddNetworkAndAudio(bool factory);
    void Add(std::string name, std::string value, Rule rule);
    Entry* Find(std::string_view name);
    const Entry* Find(std::string_view name) const;
    /// Brings size and rate into line with the codec; false when the size was asked for and does not fit.
    bool Reconcile(bool sizeWasAskedFor);
    std::optional<std::string> NormaliseSize(std::string_view text) const;
    std::string FormatSize(const IpelaSize& size) const;
    const IpelaSize* CurrentSize() const;
    bool CodecAllows(const IpelaSize& size) const;

    const IpelaModel& m_model;
    VideoStandard m_standard;
    std::vector<Entry> m_entries;
};
