/// What a product's modules are: the catalogue, as a value. No I/O; docs/modules.md has the schema.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace orvane::plexa::zarnd {

/// One module of a product.
struct ModuleSpec {
    std::string mId;
    std::string mVersion;                 ///< of the module, for people
    std::vector<std::string> mFits;       ///< versions of the product: "20.0", "20.*" or "*"
    std::string mArchive;                 ///< address: file:, http: or https:
    std::string mSha256;                  ///< of the archive, 64 lower-case hexadecimal digits
    std::uint64_t mSize = 0;              ///< of the archive in bytes
    std::uint64_t mUnpackedSize = 0;      ///< what its files may have together
    std::vector<std::string> mConflicts;  ///< executables that must not run
    std::vector<std::string> mNeeds;      ///< modules that must be installed first

    friend bool operator==(const ModuleSpec&, const ModuleSpec&) = default;
};

struct Catalogue {
    std::string mProduct;
    std::map<std::string, ModuleSpec>
        mModules;  ///< by id; whatever one needs is there, and never in a circle
};

/// Why a catalogue is refused: "PLACE: what is wrong", the place being a path such as "modules.KQ7L.size".
class CatalogueError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Limits of a catalogue.
inline constexpr std::size_t kMaxCatalogueBytes = std::size_t{4} << 20U;
inline constexpr std::size_t kMaxModules = 2000;
inline constexpr std::size_t kMaxListEntries = 64;
inline constexpr std::size_t kMaxNeedsChain = 64;    // of modules that need each other one after another
inline constexpr std::size_t kMaxNeedsInAll = 1000;  // modules that have to be there for one, itself too
inline constexpr std::size_t kMaxTextBytes = 2048;
inline constexpr std::uint64_t kMaxArchiveBytes = std::uint64_t{64} << 30U;

/// Reads the catalogue of a product. Throws `CatalogueError` for everything that is not exactly as the schema
/// says.
Catalogue ParseCatalogue(std::string_view inText, std::string_view inProduct);

/// Whether a module is made for a version of its product.
bool FitsVersion(const ModuleSpec& inModule, std::string_view inVersion);

/// The module and all that it needs, each after what it needs itself. The module must be in the catalogue.
std::vector<const ModuleSpec*> InstallOrder(const Catalogue& inCatalogue, const std::string& inModule);

}  // namespace orvane::plexa::zarnd
