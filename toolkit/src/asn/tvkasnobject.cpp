#include <tvkcore/asn/tvkasnobject.h>

#include "dercursor.h"

#include <cstring>
#include <memory>
#include <ostream>

char const* tvkasnStatusText(int status) {
    switch (static_cast<TVKASNStatus>(status)) {
    case TVKASN_OK:
        return "success";
    case TVKASN_TRUNCATED:
        return "the encoding ends too early";
    case TVKASN_BAD_LENGTH:
        return "a length is not permitted";
    case TVKASN_BAD_TAG:
        return "a tag is not permitted";
    case TVKASN_WRONG_TYPE:
        return "a value has another type";
    case TVKASN_BAD_VALUE:
        return "a value is not permitted by its type";
    case TVKASN_TRAILING_DATA:
        return "bytes follow the value";
    case TVKASN_TOO_DEEP:
        return "values are nested too deep";
    case TVKASN_NO_VALUE:
        return "a value is missing";
    case TVKASN_OUT_OF_RANGE:
        return "a value is out of range";
    }
    return "unknown status";
}

TVKASNObject::TVKASNObject(TVKASNSecurityType security, int tagClass, unsigned long tag, bool constructed)
    : tag_(tag), class_(static_cast<unsigned char>(tagClass)), constructed_(constructed),
      secure_(security == TVKASNSecure) {}

TVKASNObject::~TVKASNObject() { release_storage(); }

void TVKASNObject::check_valid(bool /*deep*/) {
    if (!present_) {
        encodingValid_ = false;
    }
}

void TVKASNObject::invalidate_encoding() const {
    for (TVKASNObject const* object = this; object != nullptr; object = object->parent_) {
        object->encodingValid_ = false;
    }
}

void TVKASNObject::invalidate_value(TVKASNInvalidateType type) {
    invalidate_encoding();
    if (type == TVKASNInvalidateValue) {
        present_ = false;
    }
}

void TVKASNObject::set_value_valid() { present_ = true; }

bool TVKASNObject::check_type(unsigned long tag, int tagClass) const {
    return tag == tag_ && tagClass == class_;
}

void TVKASNObject::set_default_value(TVKASNObject* value) { default_ = value; }

int TVKASNObject::get_encoding() const {
    return encodingValid_ || check_encode_flags(true) ? TVKASN_OK : TVKASN_NO_VALUE;
}

int TVKASNObject::get_encoding(TVKASNBuffer& out) const { return write(out); }

int TVKASNObject::emptyi() { return TVKASN_OK; }

int TVKASNObject::get_child_count() const { return 0; }

bool TVKASNObject::encoding_primitive_permitted() const { return !constructed_; }

bool TVKASNObject::encoding_constructed_permitted() const { return constructed_; }

bool TVKASNObject::encoding_indefinite_permitted() const { return false; }

bool TVKASNObject::is_constructed() const { return constructed_; }

void TVKASNObject::set_indefinite_length(bool /*indefinite*/) {}

bool TVKASNObject::is_indefinite_length() const { return false; }

bool TVKASNObject::is_polymorphic() const { return false; }

bool TVKASNObject::should_generate_constructed() const { return constructed_; }

void TVKASNObject::set_class(int tagClass) {
    empty();
    class_ = static_cast<unsigned char>(tagClass);
}

void TVKASNObject::set_tag(unsigned long tag) {
    empty();
    tag_ = tag;
}

int TVKASNObject::display(TVKASNBuffer& /*out*/) const { return is_present() ? TVKASN_OK : TVKASN_NO_VALUE; }

int TVKASNObject::empty() {
    int const status = emptyi();
    invalidate_encoding();
    forget_value();
    return status;
}

int TVKASNObject::normalize() { return TVKASN_OK; }

bool TVKASNObject::is_optional() const { return optional_; }

bool TVKASNObject::is_defaultable() const { return default_ != nullptr; }

bool TVKASNObject::is_encoding_valid() const { return encodingValid_; }

TVKASNObject* TVKASNObject::get_default_value() const { return default_; }

bool TVKASNObject::is_default_value() const { return default_ != nullptr && compare(*this, *default_) == 0; }

bool TVKASNObject::is_valid(bool /*deep*/) const { return present_; }

// A value with children is there when it was read or when a child has been given a value.
bool TVKASNObject::is_present() const {
    if (present_) {
        return true;
    }
    for (TVKASNObject const* child = first_; child != nullptr; child = child->next_) {
        if (child->is_present()) {
            return true;
        }
    }
    return false;
}

void TVKASNObject::set_secure(TVKASNSecurityType security) {
    secure_ = security == TVKASNSecure;
    for (TVKASNObject* child = first_; child != nullptr; child = child->next_) {
        child->set_secure(security);
    }
}

int TVKASNObject::read(TVKASNCBuffer& in) {
    tvk::DerHeader header;
    int status = tvk::readDerHeader(in.data, in.length, header);
    if (status == TVKASN_OK) {
        unsigned long const size = header.headerLength + header.contentLength;
        auto storage = std::make_unique_for_overwrite<unsigned char[]>(size);
        std::memcpy(storage.get(), in.data, size);
        status = decode_owned(storage.release(), size);
        if (status == TVKASN_OK) {
            in.data += size;
            in.length -= size;
        }
    }
    if (status != TVKASN_OK) {
        empty();
        if (otherEncodings_ && read_other_encoding(in) == TVKASN_OK) {
            status = TVKASN_OK;
        }
    }
    if (parent_ != nullptr) {
        parent_->invalidate_encoding();
    }
    return status;
}

// Takes over `storage`, which holds one whole value in front.
int TVKASNObject::decode_owned(unsigned char* storage, unsigned long size) {
    std::unique_ptr<unsigned char[]> holder(storage);
    TVKASNCBuffer view(storage, size);
    tvk::DerHeader header;
    int status = tvk::readDerHeader(view.data, view.length, header);
    if (status == TVKASN_OK && !check_type(header.tag, header.tagClass)) {
        status = TVKASN_WRONG_TYPE;
    }
    if (status == TVKASN_OK) {
        status = decode(view, header);
    }
    if (status != TVKASN_OK) {
        // Children may point into the new bytes: they let go before these do.
        empty();
        tvk_secure_wipe(storage, size);
        return status;
    }
    storage_ = holder.release();
    storageSize_ = size;
    return TVKASN_OK;
}

int TVKASNObject::read_other_encoding(TVKASNCBuffer& in) {
    TVKASNBuffer canonical(TVKASNSecure);
    unsigned long consumed = 0;
    if (int const status = tvk::canonicalise(in.data, in.length, canonical, consumed); status != TVKASN_OK) {
        return status;
    }
    unsigned long const canonicalLength = canonical.length;
    canonical.append(in.data, consumed);
    auto storage = std::make_unique_for_overwrite<unsigned char[]>(canonical.length);
    std::memcpy(storage.get(), canonical.data, canonical.length);
    if (int const status = decode_owned(storage.release(), canonical.length); status != TVKASN_OK) {
        return status;
    }
    // The children stay with the canonical copy; the whole is written as it came.
    encoding_ = storage_ + canonicalLength;
    encodingLength_ = consumed;
    in.data += consumed;
    in.length -= consumed;
    return TVKASN_OK;
}

// Takes the value at the front of `in`, whose bytes stay where they are. The header fits the object's tag.
int TVKASNObject::decode(TVKASNCBuffer& in, tvk::DerHeader const& header) {
    if (header.constructed != constructed_ && !is_polymorphic()) {
        return TVKASN_WRONG_TYPE;
    }
    release_storage();
    encoding_ = in.data;
    encodingLength_ = header.headerLength + header.contentLength;
    headerLength_ = header.headerLength;
    TVKASNCBuffer content(in.data + header.headerLength, header.contentLength);
    if (int const status = decode_value(content, header.contentLength); status != TVKASN_OK) {
        forget_value();
        return status;
    }
    present_ = true;
    encodingValid_ = true;
    in.data += encodingLength_;
    in.length -= encodingLength_;
    return TVKASN_OK;
}

int TVKASNObject::write(TVKASNBuffer& out) const {
    if (encodingValid_) {
        out.append(encoding_, encodingLength_);
        return TVKASN_OK;
    }
    if (!is_present()) {
        return TVKASN_NO_VALUE;
    }
    TVKASNBuffer body(TVKASNSecure);
    if (int const status = encode_value(body); status != TVKASN_OK) {
        return status;
    }
    unsigned char header[tvk::kLongestHeader];
    out.append(header, tvk::writeDerHeader(header, class_, constructed_, tag_, body.length));
    out.append(body.data, body.length);
    return TVKASN_OK;
}

int TVKASNObject::set_optional(bool optional) {
    optional_ = optional;
    return TVKASN_OK;
}

bool TVKASNObject::check_encode_flags() const { return present_; }

bool TVKASNObject::check_encode_flags(bool /*deep*/) const { return check_encode_flags(); }

int TVKASNObject::display_state_flags(TVKASNBuffer& out, int indent) const {
    std::string line(static_cast<std::size_t>(indent < 0 ? 0 : indent), ' ');
    line += is_present() ? "present" : "absent";
    line += encodingValid_ ? " encoded" : "";
    line += optional_ ? " optional" : "";
    line += secure_ ? " secure" : "";
    line += '\n';
    out.append(reinterpret_cast<unsigned char const*>(line.data()), line.size());
    return TVKASN_OK;
}

std::ostream& TVKASNObject::dump(std::ostream& out) const {
    TVKASNBuffer text(TVKASNSecure);
    if (display(text) == TVKASN_OK) {
        out.write(reinterpret_cast<char const*>(text.data), static_cast<std::streamsize>(text.length));
    }
    return out;
}

namespace {

bool isAnyObject(TVKASNObject const& /*object*/) { return true; }

} // namespace

bool (*TVKASNObject::getRTTI() const)(TVKASNObject const&) { return &isAnyObject; }

int TVKASNObject::compare(TVKASNObject const& a, TVKASNObject const& b) {
    if (&a == &b) {
        return 0;
    }
    // Encodings that were kept are compared where they stand, without a copy.
    TVKASNBuffer writtenA(TVKASNSecure);
    TVKASNBuffer writtenB(TVKASNSecure);
    TVKASNCBuffer viewA(a.encoding_, a.encodingLength_);
    TVKASNCBuffer viewB(b.encoding_, b.encodingLength_);
    bool hasA = true;
    bool hasB = true;
    if (!a.encodingValid_) {
        hasA = a.write(writtenA) == TVKASN_OK;
        viewA = writtenA;
    }
    if (!b.encodingValid_) {
        hasB = b.write(writtenB) == TVKASN_OK;
        viewB = writtenB;
    }
    if (!hasA || !hasB) {
        return static_cast<int>(hasA) - static_cast<int>(hasB);
    }
    return tvk::compareValues(viewA.data, viewA.length, viewB.data, viewB.length);
}

void TVKASNObject::accept_other_encodings() { otherEncodings_ = true; }

unsigned char const* TVKASNObject::content() const {
    return encoding_ == nullptr ? nullptr : encoding_ + headerLength_;
}

unsigned long TVKASNObject::content_length() const { return encodingLength_ - headerLength_; }

int TVKASNObject::store_content(unsigned char const* bytes, unsigned long length) {
    unsigned char header[tvk::kLongestHeader];
    unsigned int const headerLength = tvk::writeDerHeader(header, class_, constructed_, tag_, length);
    unsigned long const size = headerLength + length;
    auto storage = std::make_unique_for_overwrite<unsigned char[]>(size);
    std::memcpy(storage.get(), header, headerLength);
    if (length != 0) {
        std::memcpy(storage.get() + headerLength, bytes, length);
    }
    release_storage();
    storage_ = storage.release();
    storageSize_ = size;
    encoding_ = storage_;
    encodingLength_ = size;
    headerLength_ = static_cast<unsigned char>(headerLength);
    invalidate_encoding();
    encodingValid_ = true;
    present_ = true;
    return TVKASN_OK;
}

TVKASNSecurityType TVKASNObject::security() const { return secure_ ? TVKASNSecure : TVKASNNotSecure; }

TVKASNObject* TVKASNObject::next_sibling() const { return next_; }

void TVKASNObject::release_storage() noexcept {
    if (storage_ != nullptr) {
        if (secure_) {
            tvk_secure_wipe(storage_, storageSize_);
        }
        delete[] storage_;
        storage_ = nullptr;
        storageSize_ = 0;
    }
}

void TVKASNObject::forget_value() noexcept {
    release_storage();
    present_ = false;
    encodingValid_ = false;
    encoding_ = nullptr;
    encodingLength_ = 0;
    headerLength_ = 0;
}
