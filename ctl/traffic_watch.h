// websecctl status --watch: the traffic, a line each second.
#pragma once

// Until the reader goes away or the daemon ends, which throws CtlError, as does a daemon that counts nothing.
void WatchTraffic();
