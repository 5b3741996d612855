#pragma once

#include <OrvaneCloudProtocol/transports/Job.h>

#include <chrono>
#include <mutex>
#include <set>
#include <string>

namespace Orvane::Social {

/// Lets one at a time work on a name. Thread-safe.
class NameGate
{
public:
    /// Waits for its turn; throws CloudError (Canceled) when the job is no longer wanted. The turn ends with
    /// the object.
    class Turn
    {
    public:
        Turn(NameGate& gate, const std::string& name, Job& job)
            : m_gate(gate)
            , m_name(name)
        {
            while (!m_gate.TryEnter(name)) {
                job.Sleep(std::chrono::milliseconds(5));
            }
        }

        ~Turn() { m_gate.Leave(m_name); }
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

    private:
        NameGate& m_gate;
        const std::string m_name;
    };

private:
    [[nodiscard]] bool TryEnter(const std::string& name)
    {
        const std::lock_guard lock(m_mutex);
        return m_names.insert(name).second;
    }

    void Leave(const std::string& name)
    {
        const std::lock_guard lock(m_mutex);
        m_names.erase(name);
    }

    std::mutex m_mutex;
    std::set<std::string> m_names;
};

} // namespace Orvane::Social
