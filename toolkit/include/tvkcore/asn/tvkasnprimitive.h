#pragma once

#include <tvkcore/asn/tvkasnobject.h>

#include <string>

// A value without children.
class TVK_API TVKASNPrimitive : public TVKASNObject {
public:
    ~TVKASNPrimitive() override;

    int decode_value(TVKASNCBuffer& content, unsigned long length) override;
    int encode_value(TVKASNBuffer& out) const override;
    int display(TVKASNBuffer& out) const override;

protected:
    TVKASNPrimitive(TVKASNSecurityType security, unsigned long tag);

    // Whether the type permits these content octets: a TVKASNStatus.
    virtual int check_content(unsigned char const* bytes, unsigned long length) const;
};

// ASN.1 INTEGER of any length. The content octets are kept as they came, also where they aren't the shortest
// form.
class TVK_API TVKASNInteger : public TVKASNPrimitive {
public:
    explicit TVKASNInteger(TVKASNSecurityType security);
    ~TVKASNInteger() override;

    // `value` points at the library's own copy of the content octets, big-endian two's complement, valid as
    // long as the object is unchanged. Without a value: TVKASN_NO_VALUE, and both results are as they were.
    int get_value(unsigned char*& value, unsigned long& length) const;

    // Gives TVKASN_OUT_OF_RANGE when the number doesn't fit.
    int get_value(long& value) const;

    // Takes content octets in the same form and copies them. TVKASN_BAD_VALUE for none.
    int set_value(unsigned char const* value, unsigned long length);
    int set_value(long value);

protected:
    int check_content(unsigned char const* bytes, unsigned long length) const override;
};

// ASN.1 OCTET STRING.
class TVK_API TVKASNOctetString : public TVKASNPrimitive {
public:
    explicit TVKASNOctetString(TVKASNSecurityType security);
    ~TVKASNOctetString() override;

    // As TVKASNInteger::get_value; `length` in bytes.
    int get_value(unsigned char*& value, unsigned long& length) const;

    // Copies `length` bytes.
    int set_value(unsigned char const* value, unsigned long length);

protected:
    TVKASNOctetString(TVKASNSecurityType security, unsigned long tag);
};

// ASN.1 UTF8String. The bytes aren't checked to be UTF-8: a label may hold any.
class TVK_API TVKASNUTF8String : public TVKASNOctetString {
public:
    explicit TVKASNUTF8String(TVKASNSecurityType security);
    ~TVKASNUTF8String() override;
};

// ASN.1 BIT STRING. Lengths are in bits.
class TVK_API TVKASNBitString : public TVKASNPrimitive {
public:
    explicit TVKASNBitString(TVKASNSecurityType security);
    ~TVKASNBitString() override;

    // `value` points at the first byte of the bits in the library's own copy; the first bit is its most
    // significant.
    int get_value(unsigned char*& value, unsigned long& length) const;

    // Copies the bits; unused bits of the last byte become 0.
    int set_value(unsigned char* value, unsigned long length);

protected:
    int check_content(unsigned char const* bytes, unsigned long length) const override;
};

// ASN.1 OBJECT IDENTIFIER. Its values are arrays of one element an arc.
class TVK_API TVKASNObjectID : public TVKASNPrimitive {
public:
    explicit TVKASNObjectID(TVKASNSecurityType security);
    ~TVKASNObjectID() override;

    bool is_equal(unsigned long const* arcs, unsigned int count) const;

    // TVKASN_BAD_VALUE for fewer than two arcs, a first arc above 2, or a second above 39 under 0 and 1.
    int set_value(unsigned long* arcs, unsigned int count);

    // The dotted form, also of arcs that no number type holds; empty without a value and for an arc of more
    // than 586 octets.
    std::string get_dotted() const;

protected:
    int check_content(unsigned char const* bytes, unsigned long length) const override;
};

// ASN.1 NULL. A new object holds its value.
class TVK_API TVKASNNull : public TVKASNPrimitive {
public:
    explicit TVKASNNull(TVKASNSecurityType security);
    ~TVKASNNull() override;

protected:
    int check_content(unsigned char const* bytes, unsigned long length) const override;
};

// A value of any type, held as its encoding. With a tag set by `set_class` and `set_tag` it takes values of
// that tag alone.
class TVK_API TVKASNAny : public TVKASNObject {
public:
    explicit TVKASNAny(TVKASNSecurityType security);
    ~TVKASNAny() override;

    int decode_value(TVKASNCBuffer& content, unsigned long length) override;
    int encode_value(TVKASNBuffer& out) const override;
    bool is_polymorphic() const override;
    void set_class(int tagClass) override;
    void set_tag(unsigned long tag) override;
    int display(TVKASNBuffer& out) const override;

protected:
    bool check_type(unsigned long tag, int tagClass) const override;

private:
    bool tagged_ = false;
};
