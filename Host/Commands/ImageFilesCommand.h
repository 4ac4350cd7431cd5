#pragma once

#include "Host/Commands/Command.h"
#include "Host/Wallpapers/PictureFile.h"

#include <string>

namespace Lumivera {

/// One operation on a file, or on each picture of a folder.
class ImageFilesCommand : public Command {
  public:
    ImageFilesCommand(const char *name, const char *help) : _name(name), _help(help) {}
    void declare(CLI::App &parent) override;
    void run() override;

  protected:
    using Bytes = PictureFile::Bytes;

    /// Declares what comes behind IN.
    virtual void declareArguments(CLI::App &) {}

    /// Understands the arguments, once, before any file is touched.
    virtual void prepare() {}

    /// The contents of the new file that comes of an old one.
    virtual Bytes converted(const std::string &path) const = 0;

    /// What the new file in a folder is called.
    virtual std::string newName(const std::string &name) const = 0;

    /// Refuses names that would lie about a file's contents.
    virtual void checkNewName(const std::string &) const {}

  private:
    void convertFolder() const;
    void checkNewNames(const std::vector<std::string> &names) const;

    const char *const _name;
    const char *const _help;
    std::string _input;
    std::string _output;
};

} // namespace Lumivera
