// The C account operations' one way to talk to the account host (VEXOZEPHHttpsRequestSend):
// a form of key=value pairs signed with the device serial and request token, sent over
// verified HTTPS with fixed time-outs and a small retry rule for time-outs and failed name
// resolution (https_timeouts.h, https_retry_pause.h).
#ifndef VEXOZEPH_TRANSPORT_FORM_SENDER_H_
#define VEXOZEPH_TRANSPORT_FORM_SENDER_H_

#include "vexozeph/vexozeph.h"

namespace vexozeph {

// Sends `request` and fills `response` when the server answered 200 or 400 with a body
// (the caller judges the body). Throws Failure 1 without a host or a path, 6 without
// memory and 4 for anything else, each logged; `response.data` is then left as it was.
void SendHttpsForm(const VEXOZEPH_HTTPS_REQUEST &request, VEXOZEPH_HTTPS_RESPONSE &response);

}  // namespace vexozeph

#endif  // VEXOZEPH_TRANSPORT_FORM_SENDER_H_
