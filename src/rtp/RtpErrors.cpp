#include "rtp/RtpErrors.h"

#include <array>

namespace qrn {
namespace {

// In the order of the old table, in which -10 stands before -6.
constexpr std::array kTable{
    RtpErrorEntry{-1, "Out of memory"},
    RtpErrorEntry{-2, "Connection already created"},
    RtpErrorEntry{-3, "Specified portbase not even"},
    RtpErrorEntry{-4, "Can't create a socket"},
    RtpErrorEntry{-5, "Can't bind a socket"},
    RtpErrorEntry{-10, "Entry not in list of destinations"},
    RtpErrorEntry{-6, "Invalid receive mode"},
    RtpErrorEntry{-7, "Illegal port number"},
    RtpErrorEntry{-8, "IP entry already exists"},
    RtpErrorEntry{-9, "IP entry was not found"},
    RtpErrorEntry{-11, "Data won't fit within the current RTP packet size"},
    RtpErrorEntry{-12, "Sockets not opened"},
    RtpErrorEntry{-13, "The specified maximum packet size is too small"},
    RtpErrorEntry{-14, "No RTP data available"},
    RtpErrorEntry{-15, "No RTCP data available"},
    RtpErrorEntry{-16, "Specified SSRC not the list"},
    RtpErrorEntry{-17, "SDES index out of range"},
    RtpErrorEntry{-18, "The CSRC was not found in the list"},
    RtpErrorEntry{-19, "Function argument may not be null"},
    RtpErrorEntry{-20, "Packet processor was not initialized"},
    RtpErrorEntry{-21, "Error while inserting packet: ssrc's don't match"},
    RtpErrorEntry{-22, "Source table not initialized"},
    RtpErrorEntry{-23, "Collision between two SSRCs"},
    RtpErrorEntry{-24, "RTCP module not initialized"},
    RtpErrorEntry{-25, "Session was not created"},
    RtpErrorEntry{-26, "Session already initialized"},
    RtpErrorEntry{-27, "No default values set"},
    RtpErrorEntry{-28, "Contributing sources not initialized"},
    RtpErrorEntry{-29, "Can't set a socket buffer"},
    RtpErrorEntry{-30, "No default timestamp increment set"},
    RtpErrorEntry{-31, "Maximum packet size to large"},
    RtpErrorEntry{-32, "Can't get the send socket's port number"},
    RtpErrorEntry{-33, "Can't get the local IP address"},
    RtpErrorEntry{-34, "Multicasting not supported in this library"},
    RtpErrorEntry{-35, "Can't set the IP Time To Live field for multicast datagrams"},
    RtpErrorEntry{-36, "Not a multicast address"},
    RtpErrorEntry{-37, "Already in specified multicast group"},
    RtpErrorEntry{-38, "Not in the specified multicast group"},
    RtpErrorEntry{-39, "Unable to join multicast group"},
    RtpErrorEntry{-40, "Specified subtype value too large (maximum is 31)"},
    RtpErrorEntry{-41, "Unable to set the IP ToS (Type of Service) field"},
    RtpErrorEntry{0, nullptr},
};

}  // namespace

std::span<const RtpErrorEntry> RtpErrorTable() {
    return kTable;
}

const char* RtpErrorText(int code) {
    for (const RtpErrorEntry& entry : kTable) {
        if (entry.code == code) {
            return entry.text;
        }
    }
    return nullptr;
}

}  // namespace qrn
