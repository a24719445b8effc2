#pragma once

#include "simulator/Options.h"
#include "simulator/faults/CallFaults.h"
#include "simulator/unit/DeviceHost.h"
#include "simulator/unit/Sandbox.h"
#include "simulator/unit/UnitDevices.h"
#include "simulator/unit/UnitFiles.h"

#include <string>
#include <vector>

/// What the program sees in a unit: the unit's files and nodes, and of this machine what the options name.
/// @param pCalls  counts the program's calls; null: they are not counted
Sandbox_T MakeSandbox(const Options_T& options, const UnitTrees_T& trees, const CDeviceHost& host,
                      const std::vector<UnitDevice_T>& devices, const CCallFaults* pCalls);

/// The words that start the program in the unit.
std::vector<std::string> ProgramCommand(const Options_T& options);
