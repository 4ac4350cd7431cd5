#include "Host/Support/DescriptorWatch.h"

#include <poll.h>

namespace Lumivera {

short DescriptorSource::awaitedEvents() const { return POLLIN; }

} // namespace Lumivera
