#pragma once

#include "Utilities/FPGATypes.h"

#include <optional>
#include <string_view>

/// One ping on one channel of a two-channel FPGA. Frequencies marked as words are register values, not hertz.
class CPingMetaData
{
public:
    std::uint32_t m_Setting = 0;                  ///< set in every built-in ping; the ping does not read it
    std::uint32_t m_Channel = 0;                  ///< 0 sonar, 1 lowscan
    std::uint32_t m_NumberOfSamples = 0;          ///< a multiple of 16, at most 2,048
    std::uint32_t m_BaseBandFilterCentreFreq = 0; ///< word
    std::uint32_t m_SubSampleRate = 0;
    std::uint32_t m_NominalStartFreq = 0; ///< hundreds of hertz; the ping does not read it
    std::uint32_t m_NominalEndFreq = 0;   ///< hundreds of hertz; the ping does not read it
    std::uint32_t m_StartFreq = 0;        ///< word
    std::uint32_t m_Sweep = 0;            ///< the ping does not read it
    std::uint32_t m_ChirpIncrement = 0;   ///< word
    std::uint32_t m_BurstLength = 0;      ///< cycles
    std::uint32_t m_SampleSlots = 0; ///< samples that the receive area can hold, at least m_NumberOfSamples
    std::uint32_t m_CorrelationScaling = 0;   ///< only the low 8 bits are used
    std::uint32_t m_CorrelationDownShift = 0; ///< only the low 8 bits are used
    std::uint32_t m_BoostLevel = 0;           ///< only the low 8 bits are used
    CorrelationFilterCoefficients_T m_CorrelationFilter = {};
};

/// The built-in ping of a name, "200long" (sonar channel) or "350long" (lowscan channel), with its
/// correlation filter; empty for any other name.
std::optional<CPingMetaData> LumetSetting(std::string_view name);
