#pragma once

#include "Utilities/FPGATypes.h"
#include "fuzz/AllowedAssertions.h"
#include "fuzz/FuzzDevice.h"

#include <cstring>
#include <vector>

/// What the transports' targets share: the input chooses operations and gives the answers.
namespace Replies
{
template <class Link>
using Operation_T = void (*)(Link&, CFuzzInput&);

/// Calls the operations that the input chooses from the table, and answers from the input, until it has run
/// out. The same transport serves all inputs; what an input leaves queued is dropped.
/// @param start  the arguments of the transport's constructor that come before the device and the factory
template <class Link, class Table, class... Start>
int Run(CFuzzInput input, Table& operations, Start... start)
{
    static FuzzFactory_T factory;
    static Link link(start..., "/dev/fuzz", &factory);
    factory.device.Use(&input);
    try {
        while (!input.IsEmpty()) {
            input.OneOf(operations)(link, input);
        }
    } catch (const AllowedAssertion_T& broken) {
        Require(broken.by == BrokenBy_T::SurplusReply, "a reply breaks no other assertion");
    }
    factory.device.Use(nullptr);
    if constexpr (requires { link.TransmitDataToFPGA(); }) {
        link.TransmitDataToFPGA();
    }
    return 0;
}

/// Calls an operation with a buffer of exactly the size that the input chooses, below the limit.
template <class Operation>
void OnBuffer(CFuzzInput& input, std::size_t limit, Operation operation)
{
    std::vector<std::uint8_t> storage(input.Word() % limit);
    Buffer_Bytes_T buffer(storage.data(), storage.size());
    operation(buffer);
}

inline void RequireWholeNumbers(const std::vector<std::uint8_t>& floats, float largest, const char* what)
{
    for (std::size_t at = 0; at < floats.size(); at += sizeof(float)) {
        float value = 0;
        std::memcpy(&value, floats.data() + at, sizeof value);
        Require(value >= 0 && value <= largest && value == static_cast<float>(static_cast<int>(value)), what);
    }
}

template <class Link>
void Version(Link& link, CFuzzInput&)
{
    SWVersion_T version{0xFF, 0xFF};
    const bool isRead = link.GetVersion(&version) == c_Success;
    Require(isRead || (version.major == 0xFF && version.minor == 0xFF),
            "a version is read whole or left alone");
}

/// An operation that reads a value; its other arguments come from the input.
template <auto Get, class Link>
void Read(Link& link, CFuzzInput& input)
{
    const auto call = [&]<class Value, class... More>(TSQEventCode_T (Link::*)(Value*, More...)) {
        Value value{};
        (link.*Get)(&value, static_cast<More>(input.Word())...);
    };
    call(Get);
}
} // namespace Replies
