#include "ProductIdentity.h"

#include <mutex>

#include "Environment.h"

namespace nuocore::config {

namespace {

struct HostConfig {
    std::mutex mLock;
    ProductConfig mConfig;
};

// Never destroyed: modules ask for the identity until the very end of the process.
HostConfig& Host() {
    static auto* const sHost = new HostConfig;
    return *sHost;
}

UTF8String Variable(const char* inName) {
    return UTF8String(std::string_view(environment::GetVariable(inName)));
}

const ProductConfig& FromEnvironment() {
    static const auto* const sConfig =
        new ProductConfig{Variable("NUOCORE_SAP_CODE"), Variable("NUOCORE_CLIENT_VERSION"),
                          Variable("NUOCORE_VERSION"), Variable("NUOCORE_BETA") == "1"};
    return *sConfig;
}

void FillIn(UTF8String& ioText, const UTF8String& inFallback) {
    if (ioText.empty()) {
        ioText = inFallback;
    }
}

}  // namespace

void SetProductConfig(const ProductConfig& inConfig) {
    ProductConfig config = inConfig;
    HostConfig& host = Host();
    const std::lock_guard lock(host.mLock);
    std::swap(host.mConfig, config);
}

ProductConfig GetProductIdentity() {
    ProductConfig identity;
    {
        HostConfig& host = Host();
        const std::lock_guard lock(host.mLock);
        identity = host.mConfig;
    }
    const ProductConfig& environment = FromEnvironment();
    FillIn(identity.mSAPCode, environment.mSAPCode);
    FillIn(identity.mClientVersion, environment.mClientVersion);
    FillIn(identity.mVersionString, environment.mVersionString);
    FillIn(identity.mVersionString, identity.mClientVersion);
    identity.mIsBeta = identity.mIsBeta || environment.mIsBeta;
    return identity;
}

}  // namespace nuocore::config
