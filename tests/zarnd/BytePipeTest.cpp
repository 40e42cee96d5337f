#include <gmock/gmock.h>

#include <thread>

#include "common/Failure.h"
#include "install/BytePipe.h"
#include "support/Archives.h"

namespace zarnd_test {

using namespace orvane::plexa::zarnd;

TEST(BytePipe, PassesBytesOnInOrderAndBoundedMemory) {
    const std::string text = Noise(std::size_t{12} << 20U);
    BytePipe pipe;
    std::thread writer([&] {
        for (std::size_t place = 0, size = 1; place < text.size();
             place += size, size = size * 3 % 700'001 + 1) {
            pipe.Write(std::as_bytes(std::span(std::string_view(text).substr(place, size))), {});
        }
        pipe.End();
    });
    std::string read;
    for (auto bytes = pipe.Read({}); !bytes.empty(); bytes = pipe.Read({})) {
        EXPECT_LE(bytes.size(), BytePipe::kBlockBytes);
        read.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    }
    writer.join();
    EXPECT_TRUE(read == text);
}

TEST(BytePipe, HoldsTheWriterUpUntilItIsStoppedOrTheReaderLeaves) {
    const std::string much(BytePipe::kBlockBytes * (BytePipe::kMaxBlocks + 1), 'x');
    const auto bytes = std::as_bytes(std::span(much));
    BytePipe stopped;
    std::stop_source stop;
    std::thread stopper([&] { stop.request_stop(); });
    EXPECT_THROW(stopped.Write(bytes, stop.get_token()), Cancelled);
    stopper.join();
    EXPECT_THROW((void)stopped.Read(stop.get_token()), Cancelled);
    BytePipe left;
    std::thread leaver([&] { left.Leave(); });
    left.Write(bytes, {});
    leaver.join();
}

}  // namespace zarnd_test
