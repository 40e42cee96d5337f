#include "catalogue/CatalogueFolders.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <set>
#include <system_error>

#include "common/Names.h"
#include "wire/FileDescriptor.h"

namespace orvane::plexa::zarnd {

namespace {

std::string ReadAll(int inFile) {
    std::string text(kMaxCatalogueBytes + 1, '\0');
    std::size_t size = 0;
    while (size != text.size()) {
        const ssize_t count = ::read(inFile, text.data() + size, text.size() - size);
        if (count == 0) break;
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) throw CatalogueError("cannot be read: " + std::system_category().message(errno));
        size += static_cast<std::size_t>(count);
    }
    if (size > kMaxCatalogueBytes) {
        throw CatalogueError("has more than " + std::to_string(kMaxCatalogueBytes) + " bytes");
    }
    text.resize(size);
    return text;
}

}  // namespace

CatalogueFolders::Loaded CatalogueFolders::Read(int inFile, const std::string& inPath,
                                                const std::string& inProduct) const {
    struct stat status {};
    if (::fstat(inFile, &status) != 0 || !S_ISREG(status.st_mode)) return {nullptr, "is no file"};
    const FileIdentity identity(status);
    if (auto known = mKnown.Find(inPath, identity)) return std::move(*known);
    std::string text;
    try {
        text = ReadAll(inFile);
    } catch (const CatalogueError& error) {  // may go better the next time
        return {nullptr, error.what()};
    }
    Loaded loaded;
    try {
        loaded.mCatalogue = std::make_shared<const Catalogue>(ParseCatalogue(text, inProduct));
    } catch (const CatalogueError& error) {
        loaded.mFault = error.what();
    }
    mKnown.Keep(inPath, identity, loaded);
    return loaded;
}

std::shared_ptr<const Catalogue> CatalogueFolders::Load(const std::string& inProduct) const {
    if (!IsName(inProduct)) return nullptr;
    for (const std::filesystem::path& folder : mFolders) {
        const std::filesystem::path path = folder / (inProduct + ".json");
        // Not to wait for a pipe's writer.
        const wire::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
        if (!file && (errno == ENOENT || errno == ENOTDIR)) continue;
        const Loaded loaded =
            file ? Read(file.Get(), path.string(), inProduct)
                 : Loaded{nullptr, "cannot be opened: " + std::system_category().message(errno)};
        if (!loaded.mCatalogue) throw CatalogueError(path.string() + ": " + loaded.mFault);
        return loaded.mCatalogue;
    }
    return nullptr;
}

std::vector<std::string> CatalogueFolders::Products() const {
    std::set<std::string> products;
    for (const std::filesystem::path& folder : mFolders) {
        std::error_code ignored;
        for (std::filesystem::directory_iterator entry(folder, ignored), end; entry != end;
             entry.increment(ignored)) {
            const std::string product = entry->path().stem().string();
            if (entry->path().extension() == ".json" && IsName(product)) products.insert(product);
            if (ignored) break;
        }
    }
    return {products.begin(), products.end()};
}

}  // namespace orvane::plexa::zarnd
