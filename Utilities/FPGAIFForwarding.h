#pragma once

#include "Utilities/FPGAIF.h"

#include <functional>
#include <initializer_list>
#include <type_traits>
#include <utility>

// How the facade's operations find the transport that implements them; for the facade's own sources.

template <class Transport, class Operation, class... Arguments>
CFPGAIF::Answer_T CFPGAIF::Ask(Transport* pTransport, Operation operation, Arguments&&... arguments)
{
    if (pTransport == nullptr) {
        return std::nullopt;
    }
    if constexpr (std::is_void_v<std::invoke_result_t<Operation, Transport*, Arguments...>>) {
        std::invoke(operation, pTransport, std::forward<Arguments>(arguments)...);
        return c_Success;
    } else {
        return std::invoke(operation, pTransport, std::forward<Arguments>(arguments)...);
    }
}

template <class Operation, class... Arguments>
CFPGAIF::Answer_T CFPGAIF::Cor(Operation operation, Arguments&&... arguments) const
{
    return Ask(m_pCorIF_SPI, operation, std::forward<Arguments>(arguments)...);
}

template <class Operation, class... Arguments>
CFPGAIF::Answer_T CFPGAIF::Lumet(Operation operation, Arguments&&... arguments) const
{
    return Ask(m_pLumetIF_SPI, operation, std::forward<Arguments>(arguments)...);
}

template <class Operation, class... Arguments>
CFPGAIF::Answer_T CFPGAIF::LSSpi(Operation operation, Arguments&&... arguments) const
{
    return Ask(m_pLSIF_SPI, operation, std::forward<Arguments>(arguments)...);
}

template <class Operation, class... Arguments>
CFPGAIF::Answer_T CFPGAIF::Uart(LSChannel_T channel, Operation operation, Arguments&&... arguments) const
{
    return Ask(channel == 0 ? m_pLSIF_Uart0 : m_pLSIF_Uart1, operation,
               std::forward<Arguments>(arguments)...);
}

template <std::same_as<std::optional<TSQEventCode_T>>... Answers>
TSQEventCode_T CFPGAIF::ForwardOr(TSQEventCode_T otherwise, Answers... answers) const
{
    if (m_InterfaceType == eFpgaIfNone) {
        return c_NoFpgaInterface;
    }
    for (const Answer_T& answer : std::initializer_list<Answer_T>{answers...}) {
        if (answer) {
            return *answer;
        }
    }
    return otherwise;
}

template <std::same_as<std::optional<TSQEventCode_T>>... Answers>
TSQEventCode_T CFPGAIF::Forward(Answers... answers) const
{
    return ForwardOr(c_Success, answers...);
}
