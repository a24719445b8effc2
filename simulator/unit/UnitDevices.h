#pragma once

#include "framework/Products.h"
#include "simulator/faults/Faults.h"
#include "simulator/models/FpgaFirmware.h"

#include <memory>
#include <string>
#include <vector>

/// A device node of a unit and its devices.
struct UnitDevice_T {
    std::string node;                     ///< name below /dev
    std::unique_ptr<IDeviceModel> device; ///< the device itself
    std::unique_ptr<IDeviceModel> front;  ///< the one to use, with faults or a replay in front of the device
};

/// Names below /dev of the device nodes that a product's unit has.
std::vector<std::string> UnitNodes(const Product_T& product);

/// The devices that a product's unit has, with the faults in front of them. The plan must outlive them.
/// @param fpga  the set-up of each FPGA of the unit
std::vector<UnitDevice_T> MakeUnitDevices(const Product_T& product, const FpgaSetup_T& fpga,
                                          CFaultPlan& faults);
