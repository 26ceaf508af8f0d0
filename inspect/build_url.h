// The URL that a request is for, put together from host and path.
//
// Each fills szURL, cut to the field, and returns 0. A port goes with everything behind it, a path included:
// the text is cut at its last colon behind the scheme, so a colon anywhere in a path cuts it too. The cut is
// made in szPath (HTTPS: szHost) itself. Work on the record only, which is never null; any worker.
#pragma once

#include "inspect/web_request.h"

// "http://", host and path, with a "/" between them if the path lacks one. A path that itself begins with
// "http://" is the URL; one that otherwise holds the host, as an empty host always does, follows the scheme
// without it. CONNECT gets "http://" too.
int BuildHTTPURL(tagWebRequest* pRequest);

// The same with "ftp://".
int BuildFTPURL(tagWebRequest* pRequest);

// "https://" and the host alone: no path is ever seen. The host loses its port.
int BuildHTTPSURL(tagWebRequest* pRequest);
