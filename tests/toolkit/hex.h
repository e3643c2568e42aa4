#pragma once

#include "support/bytes.h"

#include <tvkcore/tvkcore.h>

using namespace test_support;

inline std::string toHex(TVKASNCBuffer const& view) { return toHex(view.data, view.length); }

inline std::string toHex(TVKBuffer const& buffer) { return toHex(buffer.get()); }

inline TVKASNCBuffer viewOf(Bytes const& bytes) {
    return {bytes.data(), static_cast<unsigned long>(bytes.size())};
}

// A value that is read from its encoding.
template <class Value>
struct Decoded : Value {
    explicit Decoded(TVKASNCBuffer const& encoding) : Value(TVKASNNotSecure) {
        TVKASNUtility::setDEREncoding(encoding, *this);
    }
};

// What is thrown, with code 0 for nothing.
template <class Step>
TVKException failureOf(Step const& step) {
    try {
        step();
    } catch (TVKException const& failure) {
        return failure;
    }
    return {"", 0, 0, ""};
}
