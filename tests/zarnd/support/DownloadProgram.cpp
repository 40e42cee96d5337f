// A host that asks for one module by the library's own operation: APPLICATION VERSION MODULE. Prints what the
// callback and the future say.
#include <exception>
#include <iostream>
#include <string_view>

#include <nuocore/Config.h>
#include <nuoplexasupport/nuoplexasupport.h>

using namespace nuoplexasupport;

int main(int inCount, char** inArguments) {
    if (inCount != 4) return 2;
    nuocore::config::SetProductConfig(
        {UTF8String(std::string_view(inArguments[1])), UTF8String(std::string_view(inArguments[2])), {}});
    Startup();
    {
        const auto future = RequestModuleDownload(
            ImmutableString(inArguments[3]),
            [](const ImmutableString& inId, float inShare) {
                std::cout << inId.View() << " " << inShare << std::endl;
            },
            true);
        try {
            future.Get();
            std::cout << "installed" << std::endl;
        } catch (const std::exception& exception) {
            std::cout << exception.what() << std::endl;
        }
    }
    Shutdown();
    return 0;
}
