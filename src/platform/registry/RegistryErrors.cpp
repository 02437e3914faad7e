#include "platform/registry/RegistryErrors.h"

#include <algorithm>
#include <iterator>

namespace qrn {

namespace {

struct ErrorText {
    LONG error;
    const char* text;
};

constexpr ErrorText kTexts[] = {
    {ERROR_SUCCESS, "done"},
    {ERROR_FILE_NOT_FOUND, "no such key or value"},
    {ERROR_PATH_NOT_FOUND, "the folder of the registry's file cannot be made"},
    {ERROR_ACCESS_DENIED, "no right to do that"},
    {ERROR_INVALID_DATA, "the value's data is not what its type promises"},
    {ERROR_OUTOFMEMORY, "out of memory"},
    {ERROR_INVALID_PARAMETER, "not a valid name or value"},
    {ERROR_OPEN_FAILED, "the registry's file cannot be opened"},
    {ERROR_DISK_FULL, "the disk is full"},
    {ERROR_INSUFFICIENT_BUFFER, "the text is too long"},
    {ERROR_MOD_NOT_FOUND, "the module's file is not there"},
    {ERROR_BUSY, "another process keeps the registry"},
    {ERROR_NO_MORE_ITEMS, "no more items"},
    {ERROR_BADDB, "the registry's file is damaged, or is no registry"},
    {ERROR_REGISTRY_IO_FAILED, "the registry's file cannot be read or written"},
    {ERROR_KEY_DELETED, "the key has been deleted"},
    {ERROR_REVISION_MISMATCH, "the registry's file was written by a newer version"},
    {ERROR_UNSUPPORTED_TYPE, "the value is of another type"},
};

}  // namespace

const char* RegistryErrorText(LONG error) {
    const auto* found = std::find_if(std::begin(kTexts), std::end(kTexts),
                                     [error](const ErrorText& row) { return row.error == error; });
    return found == std::end(kTexts) ? "unknown error" : found->text;
}

}  // namespace qrn
