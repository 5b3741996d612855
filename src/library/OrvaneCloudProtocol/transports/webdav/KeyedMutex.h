#pragma once

#include <OrvaneCloudProtocol/transports/Job.h>

#include <chrono>
#include <mutex>
#include <set>
#include <string>

namespace Orvane::Social {

/// Lets one at a time work on a name. Thread-safe.
class KeyedMutex
{
public:
    /// Holds the name for as long as the object lives. The constructor waits until it is free; it throws
    /// CloudError (Canceled) when the job is no longer wanted.
    class Lock
    {
    public:
        Lock(KeyedMutex& mutex, const std::string& name, Job& job)
            : m_owner(mutex)
            , m_name(name)
        {
            while (!m_owner.TryLock(name)) {
                job.Sleep(std::chrono::milliseconds(5));
            }
        }

        ~Lock() { m_owner.Unlock(m_name); }
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;

    private:
        KeyedMutex& m_owner;
        const std::string m_name;
    };

private:
    [[nodiscard]] bool TryLock(const std::string& name)
    {
        const std::lock_guard lock(m_mutex);
        return m_locked.insert(name).second;
    }

    void Unlock(const std::string& name)
    {
        const std::lock_guard lock(m_mutex);
        m_locked.erase(name);
    }

    std::mutex m_mutex;
    std::set<std::string> m_locked;
};

} // namespace Orvane::Social
