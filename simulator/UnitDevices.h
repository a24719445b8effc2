#pragma once

#include "framework/Products.h"
#include "simulator/DeviceModel.h"
#include "simulator/Faults.h"
#include "simulator/Scene.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

/// A device node of a unit and what answers there.
struct UnitDevice_T {
    std::string node;                     ///< name below /dev
    std::unique_ptr<IDeviceModel> device; ///< the device itself
    std::unique_ptr<IDeviceModel>
        faulty; ///< the device with the unit's faults in front of it: the one to use
};

/// What the devices of a unit are made from.
struct UnitDeviceSetup_T {
    const Product_T& product;
    Scene_T scene;
    std::uint8_t firmwareVersion;
    std::function<bool()> isPowered;
};

/// The devices that a product's unit has, with the faults in front of them. The plan must outlive them.
std::vector<UnitDevice_T> MakeUnitDevices(const UnitDeviceSetup_T& setup, CFaultPlan& faults);
