#include "phone/readiness.h"

#ifdef LINKAPP_HAS_SYSTEMD
#include <systemd/sd-daemon.h>
#endif

namespace phone {

void tellReadiness() {
#ifdef LINKAPP_HAS_SYSTEMD
  sd_notify(0, "READY=1");
#endif
}

}  // namespace phone
