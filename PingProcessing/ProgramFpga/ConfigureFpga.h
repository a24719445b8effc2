#pragma once

#include "Utilities/EventCodes.h"

class CDatabaseFPGACache;
class CDatabaseLumetPingMetaData;
class CDatabasePingMetaData;
class CDatabasePingParametersMessage;
class CDatabaseQL6MPingMetaData;
class CFPGAIF;

/// Programs a unit's FPGA from ping metadata records. PingMetaData points to two records, that of the FPGA's
/// channel 0 and that of channel 1. Null arguments are assertions.
class CConfigureFpga
{
public:
    /// Sets both channels of a Lowscan FPGA up for a ping. An inactive channel stays quiet and receives with
    /// the settings of its neighbour. Of the two boost levels channel 1's counts. The flag is not used.
    /// @return what CFPGAIF::setUpForPing returns
    TSQEventCode_T Configure(CDatabasePingMetaData** PingMetaData, CFPGAIF* LowscanIF, bool);
    /// Programs the active channels of a Lumet FPGA. A setting that fails is not reported.
    /// @return what CFPGAIF::UpdateFPGA returns: -109 when neither channel is active
    TSQEventCode_T Configure(CDatabaseLumetPingMetaData** PingMetaData, CFPGAIF* FpgaInterface);
    /// From these nothing is programmed yet: 0 is returned.
    TSQEventCode_T Configure(const CDatabasePingParametersMessage*, const CDatabaseFPGACache*,
                             CFPGAIF* FpgaInterface, bool);
    TSQEventCode_T Configure(const CDatabaseQL6MPingMetaData*, CFPGAIF* FpgaInterface, bool);
};
