#pragma once

#include <string_view>

/// Which kind of bad input makes an assertion fail.
enum class BrokenBy_T {
    TableFile,
    Argument,
    SurplusReply ///< the reply of a Lowscan FPGA arrives in pieces and is longer than requested
};

/// The assertions that bad input may fail: a run that ends in one of them is correct. Any other failed
/// assertion is a fault of the program.
struct AllowedAssertion_T {
    std::string_view condition;
    BrokenBy_T by;
};
inline constexpr AllowedAssertion_T c_AllowedAssertions[] = {
    {R"(((NumberOf32bitSamples % 16) == 0) && "Number of Rx samples not a multiple of 16")",
     BrokenBy_T::TableFile},
    {R"(((NumberOf32bitSamples / 16) <= 0x0000FFFF) && "Number of Rx Samples requested is too large")",
     BrokenBy_T::TableFile},
    {R"((TvgTable.size() <= Sizeof_TVGTable) && "TVG table too long")", BrokenBy_T::TableFile},
    {R"((CorrelationFilter.size() <= Sizeof_CorrelationFilter) && "Correlation Filter table too long")",
     BrokenBy_T::TableFile},
    {"Period != c_PeriodUnknown", BrokenBy_T::Argument},
    {"NewSize <= m_Original_Size_Bytes", BrokenBy_T::SurplusReply},
};
