#pragma once

#include <tvkcore/base/tvkbuffer.h>
#include <tvkcore/base/tvkexport.h>

#include <iosfwd>

// Status values of the ASN.1 calls: 0 is success.
enum TVKASNStatus : int {
    TVKASN_OK = 0,
    TVKASN_TRUNCATED = 1,     // the bytes end inside a value
    TVKASN_BAD_LENGTH = 2,    // a length that DER doesn't permit, or one that leaves its surroundings
    TVKASN_BAD_TAG = 3,       // a tag that DER doesn't permit
    TVKASN_WRONG_TYPE = 4,    // a value of another type than the object's
    TVKASN_BAD_VALUE = 5,     // content octets that the type doesn't permit
    TVKASN_TRAILING_DATA = 6, // bytes behind the last value
    TVKASN_TOO_DEEP = 7,      // nested deeper than this library goes
    TVKASN_NO_VALUE = 8,      // the object, or a part that it can't do without, holds no value
    TVKASN_OUT_OF_RANGE = 9   // a value that the result can't hold
};

// A short English text for a status; never null.
TVK_API char const* tvkasnStatusText(int status);

// Whether an object's bytes are secret: those of a secure object are wiped before their memory is given back.
enum TVKASNSecurityType { TVKASNNotSecure = 0, TVKASNSecure = 1 };

// What a change of a composite's child makes stale.
enum TVKASNInvalidateType { TVKASNInvalidateValue = 0, TVKASNInvalidateEncoding = 1 };

// The classes of a tag, as they stand in the identifier octet (X.690, 8.1.2.2).
enum TVKASNTagClass : int {
    TVKASNUniversal = 0x00,
    TVKASNApplication = 0x40,
    TVKASNContextSpecific = 0x80,
    TVKASNPrivate = 0xC0
};

// A growable buffer for encodings. What `write` appends, `read` consumes from the front. Wiped before its
// memory is given back.
class TVK_API TVKASNBuffer : public TVKASNCBuffer {
public:
    explicit TVKASNBuffer(TVKASNSecurityType security);
    TVKASNBuffer(TVKASNBuffer const&) = delete;
    TVKASNBuffer& operator=(TVKASNBuffer const&) = delete;
    ~TVKASNBuffer() override;

    void append(unsigned char const* bytes, unsigned long count);

private:
    unsigned char* storage_ = nullptr;
    unsigned long capacity_ = 0;
};

namespace tvk {
struct DerHeader;
}

// The root of all ASN.1 values. An object knows its tag, its value and its DER encoding (X.690, clause 10).
//
// An object that was read keeps one copy of its bytes; its children are views into that copy, and their
// values are taken apart when they are asked for. The encoding is kept until the value changes, so an object
// that was read and not changed writes the same bytes again. Objects aren't copied; a value goes from one
// object to another by `write` and `read`. An object is for one thread at a time.
class TVK_API TVKASNObject {
public:
    TVKASNObject(TVKASNObject const&) = delete;
    TVKASNObject& operator=(TVKASNObject const&) = delete;

    // Takes the content octets of a value, `length` of them, from the front of `content`, which must stay
    // valid as long as the object holds the value: the library's own step below `read`.
    virtual int decode_value(TVKASNCBuffer& content, unsigned long length) = 0;

    // Appends the content octets.
    virtual int encode_value(TVKASNBuffer& out) const = 0;

protected:
    virtual void check_valid(bool deep);
    virtual void invalidate_encoding() const;
    virtual void invalidate_value(TVKASNInvalidateType type);
    virtual void set_value_valid();

    // Whether a value with this tag number and class can be this object's.
    virtual bool check_type(unsigned long tag, int tagClass) const;
    virtual void set_default_value(TVKASNObject* value);
    virtual int get_encoding() const;
    virtual int get_encoding(TVKASNBuffer& out) const;
    virtual int emptyi();

public:
    virtual int get_child_count() const;
    virtual bool encoding_primitive_permitted() const;
    virtual bool encoding_constructed_permitted() const;
    virtual bool encoding_indefinite_permitted() const;
    virtual bool is_constructed() const;

    // DER has no indefinite lengths: the wish is dropped, and `is_indefinite_length` stays false.
    virtual void set_indefinite_length(bool indefinite);
    virtual bool is_indefinite_length() const;
    virtual bool is_polymorphic() const;
    virtual bool should_generate_constructed() const;

    // Replace the tag (implicit tagging). The value, if there is one, is dropped.
    virtual void set_class(int tagClass);
    virtual void set_tag(unsigned long tag);

    // Appends a text of the value, for people; of a secure object's only the length.
    virtual int display(TVKASNBuffer& out) const;

    // Clears the value; the object then counts as absent.
    virtual int empty();

    // Drops children that are equal to their default.
    virtual int normalize();
    virtual bool is_optional() const;
    virtual bool is_defaultable() const;
    virtual bool is_encoding_valid() const;
    virtual TVKASNObject* get_default_value() const;
    virtual bool is_default_value() const;

    // Whether the object holds a value; with `deep`, whether all that it needs below it do too.
    virtual bool is_valid(bool deep) const;
    virtual bool is_present() const;

    virtual ~TVKASNObject();

    virtual void set_secure(TVKASNSecurityType security);

    // Decodes one value from the front of `in` and moves `in` behind it. Gives non-zero when the bytes aren't
    // such a value; `in` is then as it was, and the object is empty.
    virtual int read(TVKASNCBuffer& in);

    // Appends the DER encoding. Gives TVKASN_NO_VALUE, and appends nothing, when a value is missing.
    virtual int write(TVKASNBuffer& out) const;

    // An optional object may be absent in a composite.
    virtual int set_optional(bool optional);
    virtual bool check_encode_flags() const;
    virtual bool check_encode_flags(bool deep) const;
    virtual int display_state_flags(TVKASNBuffer& out, int indent) const;
    virtual std::ostream& dump(std::ostream& out) const;

    // A test whether an object is of this object's class, by which values are cast down.
    virtual bool (*getRTTI() const)(TVKASNObject const&);

    // 0 when the two are equal in value, else negative or positive. Two objects without a value are equal.
    static int compare(TVKASNObject const& a, TVKASNObject const& b);

protected:
    TVKASNObject(TVKASNSecurityType security, int tagClass, unsigned long tag, bool constructed);

    // A value for every input: a failed strict decoding is tried again in the other encodings of X.690, from
    // a canonical copy beside the bytes as they came.
    void accept_other_encodings();

    // The value's content octets; null and 0 without a value.
    unsigned char const* content() const;
    unsigned long content_length() const;

    // Takes new content octets, which may be bytes of this object.
    int store_content(unsigned char const* bytes, unsigned long length);

    TVKASNSecurityType security() const;
    TVKASNObject* next_sibling() const;

private:
    friend class TVKASNComposite;

    int decode(TVKASNCBuffer& in, tvk::DerHeader const& header);
    int decode_owned(unsigned char* storage, unsigned long size);
    int read_other_encoding(TVKASNCBuffer& in);
    void release_storage() noexcept;
    void forget_value() noexcept;

    TVKASNObject* parent_ = nullptr;
    TVKASNObject* next_ = nullptr;
    TVKASNObject* first_ = nullptr; // of the children, which a composite alone has
    TVKASNObject* default_ = nullptr;
    unsigned char const* encoding_ = nullptr; // the whole value, identifier octets first
    unsigned long encodingLength_ = 0;
    unsigned char* storage_ = nullptr; // this object's own copy, null when the bytes are an ancestor's
    unsigned long storageSize_ = 0;
    unsigned long tag_;
    unsigned char class_;
    unsigned char headerLength_ = 0;
    bool constructed_ : 1;
    bool secure_ : 1;
    bool optional_ : 1 = false;
    bool present_ : 1 = false;
    mutable bool encodingValid_ : 1 = false;
    bool otherEncodings_ : 1 = false;
};

// A value with child objects. A child stays a member of the derived class and isn't owned by the composite.
class TVK_API TVKASNComposite : public TVKASNObject {
public:
    ~TVKASNComposite() override;

    int decode_value(TVKASNCBuffer& content, unsigned long length) override;
    int encode_value(TVKASNBuffer& out) const override;

protected:
    TVKASNComposite(TVKASNSecurityType security, int tagClass, unsigned long tag);

    void check_valid(bool deep) override;
    void invalidate_value(TVKASNInvalidateType type) override;
    int emptyi() override;

public:
    int get_child_count() const override;
    int display(TVKASNBuffer& out) const override;
    int normalize() override;
    bool is_valid(bool deep) const override;
    bool check_encode_flags() const override;
    bool check_encode_flags(bool deep) const override;
    int display_state_flags(TVKASNBuffer& out, int indent) const override;

    // Appends a child; children are encoded and decoded in the order of registration. Gives TVKASN_BAD_VALUE
    // for null and for a child that has a place already.
    virtual int register_child(TVKASNObject* child);

    // The same, in front of all others.
    virtual int register_child_before(TVKASNObject* child);

    // Whether a composite without any child present may be encoded. True from the start.
    virtual bool get_empty_permitted();
    virtual unsigned long set_empty_permitted(bool permitted);

private:
    TVKASNObject* last_ = nullptr;
    bool emptyPermitted_ = true;
};

// ASN.1 SEQUENCE with a fixed list of components.
class TVK_API TVKASNSequence : public TVKASNComposite {
public:
    explicit TVKASNSequence(TVKASNSecurityType security);
    ~TVKASNSequence() override;

    int decode_value(TVKASNCBuffer& content, unsigned long length) override;
    int encode_value(TVKASNBuffer& out) const override;
};

// An explicit tag around one child (X.690, 8.14.2).
class TVK_API TVKASNExplicit : public TVKASNComposite {
public:
    // `child` is registered, not owned.
    TVKASNExplicit(TVKASNSecurityType security, unsigned long tag, TVKASNObject& child);
    ~TVKASNExplicit() override;
};
