#include "simulator/Faults.h"

#include "simulator/WireBytes.h"

#include <algorithm>
#include <utility>

CFaultPlan::CFaultPlan(const std::vector<std::string>& specifications)
    : m_Counts(c_FaultOperationNames.size(), 0), m_Unstruck(specifications)
{
    std::ranges::transform(specifications, std::back_inserter(m_Faults), FaultOf);
}

std::vector<Fault_T> CFaultPlan::Next(FaultOperation_T operation)
{
    const std::size_t count = ++m_Counts[static_cast<std::size_t>(operation)];
    std::vector<Fault_T> due;
    std::ranges::copy_if(m_Faults, std::back_inserter(due), [&](const Fault_T& fault) {
        return fault.kind->operation == operation && (fault.number == 0 || fault.number == count);
    });
    for (const Fault_T& fault : due) {
        Strike(fault.specification);
    }
    return due;
}

std::vector<Fault_T> CFaultPlan::OfCalls() const
{
    std::vector<Fault_T> faults;
    std::ranges::copy_if(m_Faults, std::back_inserter(faults),
                         [](const Fault_T& fault) { return fault.kind->play == nullptr; });
    return faults;
}

void CFaultPlan::Strike(std::string_view specification)
{
    std::erase(m_Unstruck, specification);
    m_ExplainsRefusals = m_ExplainsRefusals || std::ranges::any_of(m_Faults, [&](const Fault_T& fault) {
                             return fault.specification == specification && fault.kind->explainsRefusals;
                         });
}

bool CFaultPlan::ExplainsRefusals()
{
    m_TellElsewhere();
    return m_ExplainsRefusals;
}

std::string CFaultPlan::Counts() const
{
    std::string text;
    for (std::size_t i = 0; i < m_Counts.size(); ++i) {
        text.append(c_FaultOperationNames[i]).append(" ").append(std::to_string(m_Counts[i])).append("\n");
    }
    return text;
}

void CFaultyDevice::Befall(FaultOperation_T operation, Befallen_T& befallen)
{
    for (const Fault_T& fault : m_Plan.Next(operation)) {
        fault.kind->play(befallen, fault.value);
        AppendMeaning(befallen.outcome.meaning, "fault " + fault.specification);
        AppendMeaning(befallen.outcome.replyMeaning, "fault " + fault.specification);
    }
}

/// The same for bytes that come back, when there are any.
void CFaultyDevice::BefallBytes(FaultOperation_T operation, DeviceOutcome_T& outcome, Bytes_T& bytes,
                                Bytes_T& previous)
{
    if (bytes.empty()) {
        return;
    }
    const Bytes_T before = std::exchange(previous, bytes);
    Befallen_T befallen{.outcome = outcome, .pBytes = &bytes, .pPrevious = &before};
    Befall(operation, befallen);
}

DeviceOutcome_T CFaultyDevice::Marked(DeviceOutcome_T outcome)
{
    outcome.faulted = m_Plan.ExplainsRefusals();
    return outcome;
}

DeviceOutcome_T CFaultyDevice::Write(ByteView_T bytes)
{
    DeviceOutcome_T passed;
    Befallen_T passing{.outcome = passed, .arriving = bytes};
    Befall(FaultOperation_T::Write, passing);
    if (!passing.arrives) {
        return Marked(passed);
    }
    DeviceOutcome_T outcome = m_Device.Write(passing.arriving);
    outcome.taken = passed.taken;
    if (!passed.meaning.empty()) {
        AppendMeaning(outcome.meaning, passed.meaning);
    }
    for (const std::size_t place : outcome.fifoStatusAt) {
        Befallen_T status{.outcome = outcome, .pBytes = &outcome.reply, .place = place};
        Befall(FaultOperation_T::Fifo, status);
    }
    BefallBytes(FaultOperation_T::Reply, outcome, outcome.reply, m_LastReply);
    BefallBytes(FaultOperation_T::Fill, outcome, outcome.fill, m_LastFill);
    return Marked(outcome);
}

DeviceOutcome_T CFaultyDevice::Ioctl(unsigned long request, ByteView_T argument)
{
    DeviceOutcome_T outcome;
    Befallen_T passing{.outcome = outcome};
    Befall(FaultOperation_T::Ioctl, passing);
    if (passing.arrives) {
        outcome = m_Device.Ioctl(request, argument);
        if (outcome.interruptWait) {
            Befall(FaultOperation_T::Interrupt, passing);
        }
    }
    return Marked(outcome);
}

std::optional<DeviceOutcome_T> CFaultyDevice::TakeUnasked()
{
    std::optional<DeviceOutcome_T> outcome = m_Device.TakeUnasked();
    if (outcome) {
        BefallBytes(FaultOperation_T::Reply, *outcome, outcome->reply, m_LastReply);
        outcome = Marked(*outcome);
    }
    return outcome;
}
