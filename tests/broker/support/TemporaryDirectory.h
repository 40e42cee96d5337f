/// A directory of a test's own, removed with everything in it.
#pragma once

#include <string>

class TemporaryDirectory {
  public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::string& Path() const { return mPath; }
    std::string operator/(const std::string& inName) const { return mPath + "/" + inName; }

  private:
    std::string mPath;
};
