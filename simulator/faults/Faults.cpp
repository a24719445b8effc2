#include "simulator/faults/Faults.h"

#include <algorithm>

std::vector<Fault_T> CFaultPlan::CountAndMatch(FaultOperation_T operation)
{
    const std::size_t count = ++m_Counts[static_cast<std::size_t>(operation)];
    std::vector<Fault_T> due;
    for (Fault_T& fault : m_Faults) {
        if (fault.kind->operation == operation && (fault.number == 0 || fault.number == count)) {
            fault.wasTriggered = true;
            due.push_back(fault);
        }
    }
    return due;
}

std::vector<Fault_T> CFaultPlan::OfCalls() const
{
    std::vector<Fault_T> faults;
    std::ranges::copy_if(m_Faults, std::back_inserter(faults),
                         [](const Fault_T& fault) { return fault.kind->IsAtCall(); });
    return faults;
}

void CFaultPlan::Trigger(std::string_view specification)
{
    for (Fault_T& fault : m_Faults) {
        fault.wasTriggered = fault.wasTriggered || fault.specification == specification;
    }
}

bool CFaultPlan::ExplainsRefusals() const
{
    m_LogReader();
    return std::ranges::any_of(
        m_Faults, [](const Fault_T& fault) { return fault.wasTriggered && fault.kind->explainsRefusals; });
}

std::vector<std::string> CFaultPlan::Untriggered() const
{
    m_LogReader();
    std::vector<std::string> lines;
    for (const Fault_T& fault : m_Faults) {
        if (fault.wasTriggered) {
            continue;
        }
        const auto operation = static_cast<std::size_t>(fault.kind->operation);
        const std::size_t count = m_Counts[operation];
        const std::string made = count == 0 ? "no " : "only " + std::to_string(count) + " ";
        lines.push_back("fault " + fault.specification + " was never triggered: the run made " + made +
                        std::string(NameOf(fault.kind->operation)) +
                        (count == 1 ? " operation" : " operations"));
    }
    return lines;
}

std::string CFaultPlan::Counts() const
{
    m_LogReader();
    std::string text;
    for (std::size_t i = 0; i < m_Counts.size(); ++i) {
        text.append(c_FaultOperationNames[i]).append(" ").append(std::to_string(m_Counts[i])).append("\n");
    }
    return text;
}

void CFaultyDevice::Play(FaultOperation_T operation, FaultTarget_T& target)
{
    for (const Fault_T& fault : m_Plan.CountAndMatch(operation)) {
        fault.kind->play(target, fault.value);
        AppendMeaning(target.outcome.meaning, "fault " + fault.specification);
        AppendMeaning(target.outcome.replyMeaning, "fault " + fault.specification);
    }
}

void CFaultyDevice::PlayOnBytes(FaultOperation_T operation, DeviceOutcome_T& outcome, Bytes_T& bytes,
                                Bytes_T& previous)
{
    if (bytes.empty()) {
        return;
    }
    const Bytes_T before = std::exchange(previous, bytes);
    FaultTarget_T target{.outcome = outcome, .pBytes = &bytes, .pPrevious = &before};
    Play(operation, target);
}

DeviceOutcome_T CFaultyDevice::Marked(DeviceOutcome_T outcome)
{
    outcome.faulted = m_Plan.ExplainsRefusals();
    return outcome;
}

DeviceOutcome_T CFaultyDevice::Write(ByteView_T bytes)
{
    DeviceOutcome_T passed;
    FaultTarget_T passing{.outcome = passed, .arriving = bytes};
    Play(FaultOperation_T::Write, passing);
    if (!passing.arrives) {
        return Marked(passed);
    }
    DeviceOutcome_T outcome = m_Device.Write(passing.arriving);
    outcome.taken = passed.taken;
    if (!passed.meaning.empty()) {
        AppendMeaning(outcome.meaning, passed.meaning);
    }
    for (const std::size_t place : outcome.fifoStatusAt) {
        FaultTarget_T status{.outcome = outcome, .pBytes = &outcome.reply, .place = place};
        Play(FaultOperation_T::Fifo, status);
    }
    PlayOnBytes(FaultOperation_T::Reply, outcome, outcome.reply, m_LastReply);
    PlayOnBytes(FaultOperation_T::Fill, outcome, outcome.fill, m_LastFill);
    return Marked(outcome);
}

DeviceOutcome_T CFaultyDevice::Ioctl(unsigned long request, ByteView_T argument)
{
    DeviceOutcome_T outcome;
    FaultTarget_T passing{.outcome = outcome};
    Play(FaultOperation_T::Ioctl, passing);
    if (passing.arrives) {
        outcome = m_Device.Ioctl(request, argument);
        if (outcome.interruptWait) {
            Play(FaultOperation_T::Interrupt, passing);
        }
    }
    return Marked(outcome);
}

std::optional<DeviceOutcome_T> CFaultyDevice::TakeUnasked()
{
    std::optional<DeviceOutcome_T> outcome = m_Device.TakeUnasked();
    if (outcome) {
        PlayOnBytes(FaultOperation_T::Reply, *outcome, outcome->reply, m_LastReply);
        outcome = Marked(*outcome);
    }
    return outcome;
}
