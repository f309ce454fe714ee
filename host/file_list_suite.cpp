// The GetFileList suite, of which only BrowseUrl is implemented.
#include "host/host_state.h"

namespace host {

namespace {

SPErr BrowseUrl(const char* url) {
    Host* host = EnterService();
    if (host == nullptr) return kServiceFailed;
    if (url == nullptr) {
        ReportViolation(*host, ViolationKind::kBadArgument, "BrowseUrl: null argument");
        return kServiceFailed;
    }
    SPErr result = kServiceFailed;
    if (!ShouldFail(*host, HostCall::kBrowseUrl)) {
        host->report.urls.push_back(url);
        result = host->options.browseUrl ? host->options.browseUrl(url) : SPErr{noErr};
    }
    Trace(*host, "BrowseUrl \"", url, "\" -> ", result);
    return result;
}

}  // namespace

const PSGetFileListSuite* GetFileListSuite() {
    static const PSGetFileListSuite kSuite = {NotOffered, NotOffered, NotOffered, BrowseUrl, NotOffered,
                                              NotOffered, NotOffered, NotOffered, NotOffered};
    return &kSuite;
}

}  // namespace host
