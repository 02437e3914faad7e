#pragma once

#include <filesystem>

#include "engines/TypedObject.h"
#include "engines/UmcDefs.h"

namespace UMC {

/// What a codec is set up with. Copies are plain copies of the fields.
class BaseCodecParams : public Typed<BaseCodecParams, TypedObject> {
public:
    static const char* ClassName() { return "BaseCodecParams"; }

    /// Takes the fields from a text file. kNotImplemented where a class has no text form; kCannotOpen, or kBadText for
    /// a text that is wrong, change nothing.
    virtual Status ReadParams(const std::filesystem::path& file) {
        (void)file;
        return kNotImplemented;
    }

    int m_numThreads = 1;
};

}  // namespace UMC
