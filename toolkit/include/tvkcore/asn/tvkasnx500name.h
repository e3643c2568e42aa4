#pragma once

#include <tvkcore/asn/tvkasnobject.h>

// An X.500 name (RFC 5280, 4.1.2.4): a SEQUENCE of relative names, each a SET of attributes. Its structure is
// checked when it is read; the attributes are taken apart when they are asked for.
class TVK_API TVKASNx500Name : public TVKASNObject {
public:
    explicit TVKASNx500Name(TVKASNSecurityType security);
    ~TVKASNx500Name() override;

    int decode_value(TVKASNCBuffer& content, unsigned long length) override;
    int encode_value(TVKASNBuffer& out) const override;
    int display(TVKASNBuffer& out) const override;

    // 0 when the names are equal by the rules of RFC 5280, 7.1: relative names in the same order, the
    // attributes in each in any order, strings without regard to their type, to case, and to white space
    // beyond one space between words. Case is folded for the letters of Latin, Greek, Cyrillic and Armenian.
    // Two objects without a value are equal.
    static int compare(TVKASNx500Name const& a, TVKASNx500Name const& b);
};
