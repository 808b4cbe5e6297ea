/** Messages of the switch's tests: told apart by their handle, for whom they name. */
#pragma once

#include "bytes.h"

namespace msmtest {

using testsupport::Bytes_t;
using testsupport::get32;
using testsupport::put32;

/** A message of `length` bytes that names each of `endpoints` in its local bitmap. */
inline Bytes_t messageTo(const std::vector<unsigned>& endpoints, std::uint8_t requestor, std::uint32_t handle,
                         std::size_t length = 64) {
    return testsupport::message({requestor, 0, 0, handle, endpoints}, Bytes_t(length - 64));
}

/** Nobody is named yet. */
inline Bytes_t message(std::uint8_t requestor, std::uint32_t handle, std::size_t length = 64) {
    return messageTo({}, requestor, handle, length);
}

/** Sets an endpoint's bit in the bitmap that starts at `offset`: 20 the local one, 28 the other. */
inline Bytes_t& name(Bytes_t& bytes, unsigned endpoint, std::size_t offset = 20) {
    testsupport::addRecipient(bytes, endpoint, offset);
    return bytes;
}

} // namespace msmtest
