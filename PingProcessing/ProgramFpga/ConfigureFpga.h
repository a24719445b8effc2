#pragma once

#include "Utilities/EventCodes.h"

class CDatabaseFPGACache;
class CDatabaseLumetPingMetaData;
class CDatabasePingMetaData;
class CDatabasePingParametersMessage;
class CDatabaseQL6MPingMetaData;
class CFPGAIF;

/// Programs a unit's FPGA from ping metadata records. PingMetaData points to two records: FPGA channel 0 and
/// channel 1. Null arguments are assertions.
class CConfigureFpga
{
public:
    /// Sets up both channels of a Lowscan FPGA for a ping. An inactive channel does not transmit and receives
    /// with the other channel's settings. The boost level is that of channel 1. The flag is not used.
    /// @return what CFPGAIF::setUpForPing returns
    TSQEventCode_T Configure(CDatabasePingMetaData** PingMetaData, CFPGAIF* LowscanIF, bool);
    /// Programs the active channels of a Lumet FPGA. A setting that fails is not reported.
    /// @return what CFPGAIF::UpdateFPGA returns: -109 when neither channel is active
    TSQEventCode_T Configure(CDatabaseLumetPingMetaData** PingMetaData, CFPGAIF* FpgaInterface);
    /// Program nothing and return 0.
    TSQEventCode_T Configure(const CDatabasePingParametersMessage*, const CDatabaseFPGACache*,
                             CFPGAIF* FpgaInterface, bool);
    TSQEventCode_T Configure(const CDatabaseQL6MPingMetaData*, CFPGAIF* FpgaInterface, bool);
};
