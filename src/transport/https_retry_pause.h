// The pause the HTTPS form sender takes after a time-out or a failed name resolution,
// before it tries again. Tests replace it so that retries do not cost real seconds.
#ifndef VEXOZEPH_TRANSPORT_HTTPS_RETRY_PAUSE_H_
#define VEXOZEPH_TRANSPORT_HTTPS_RETRY_PAUSE_H_

namespace vexozeph {
namespace https {

using RetryPause = void (*)(unsigned int seconds);

// Installs `pause` (null restores the real sleep) and returns the one it replaced.
RetryPause SetRetryPause(RetryPause pause);

}  // namespace https
}  // namespace vexozeph

#endif  // VEXOZEPH_TRANSPORT_HTTPS_RETRY_PAUSE_H_
