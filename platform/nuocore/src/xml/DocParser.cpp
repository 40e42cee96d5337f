#include <boost/smart_ptr/make_shared.hpp>
#include <stdexcept>
#include <utility>

#include "SessionPool.h"
#include "nuocore/XML.h"

namespace nuocore::xml {

namespace {

/// A session that has read more than this isn't kept: its buffers have grown with the document.
constexpr std::size_t kMaxPooledDocument = std::size_t{128} << 10;

class DocParser final : public AbstractDocParser {
  public:
    DocParser(std::unique_ptr<AbstractParseHandler> inHandler, const ParserOptions& inOptions)
        : mHandler(std::move(inHandler)), mOptions(inOptions) {}

    void Parse(std::string_view inDocument) override {
        SessionPool& pool = SessionPool::Get();
        std::unique_ptr<SaxSession> session = pool.Take(mOptions.mNamespaces);
        session->Run(inDocument, *mHandler, mOptions.mLimits);
        // Only after success: a document that was refused may have been made to waste memory.
        if (inDocument.size() <= kMaxPooledDocument) {
            pool.Give(mOptions.mNamespaces, std::move(session));
        }
    }

  private:
    const std::unique_ptr<AbstractParseHandler> mHandler;
    const ParserOptions mOptions;
};

}  // namespace

boost::shared_ptr<AbstractDocParser> GetParser(std::unique_ptr<AbstractParseHandler> inHandler,
                                               const ParserOptions& inOptions) {
    if (inHandler == nullptr) {
        throw std::invalid_argument("GetParser needs a handler");
    }
    return boost::allocate_shared<DocParser>(allocator::STLAllocator<DocParser>(), std::move(inHandler),
                                             inOptions);
}

}  // namespace nuocore::xml
