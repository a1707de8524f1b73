#ifndef VCAM_GENTL_DEVICELOCK_H
#define VCAM_GENTL_DEVICELOCK_H

#include <string>

namespace vcam::gentl {

// A camera opened for control, as other processes see it: an exclusive lock on a file
// named after the camera in the user's runtime directory, gone with the process that
// holds it. Each process has cameras of its own; the lock is what they share, as a
// frame grabber's driver lets one application at a time control a camera.
class DeviceLock
{
public:
    DeviceLock() = default;
    ~DeviceLock();
    DeviceLock(const DeviceLock&) = delete;
    DeviceLock& operator=(const DeviceLock&) = delete;

    // key: the settings' key and the camera's extended id.
    bool Take(const std::string& key);
    void Release();
    // Whether another process holds the camera now.
    static bool HeldElsewhere(const std::string& key);

private:
    static std::string _Path(const std::string& key);
    int m_fd = -1;
};

} // namespace vcam::gentl

#endif
