#include <tvkcore/asn/tvkasnobject.h>

#include "dercursor.h"

TVKASNComposite::TVKASNComposite(TVKASNSecurityType security, int tagClass, unsigned long tag)
    : TVKASNObject(security, tagClass, tag, true) {}

TVKASNComposite::~TVKASNComposite() = default;

int TVKASNComposite::decode_value(TVKASNCBuffer& content, unsigned long length) {
    if (length > content.length) {
        return TVKASN_TRUNCATED;
    }
    TVKASNCBuffer rest(content.data, length);
    for (TVKASNObject* child = first_; child != nullptr; child = child->next_) {
        tvk::DerHeader header;
        int status = TVKASN_TRUNCATED;
        if (rest.length != 0) {
            status = tvk::readDerHeader(rest.data, rest.length, header);
            if (status != TVKASN_OK) {
                return status;
            }
            if (child->check_type(header.tag, header.tagClass)) {
                if (status = child->decode(rest, header); status != TVKASN_OK) {
                    return status;
                }
                continue;
            }
            status = TVKASN_WRONG_TYPE;
        }
        if (!child->optional_ && child->default_ == nullptr) {
            return status;
        }
        child->emptyi();
        child->forget_value();
    }
    if (rest.length != 0) {
        return TVKASN_TRAILING_DATA;
    }
    content.data += length;
    content.length -= length;
    return TVKASN_OK;
}

int TVKASNComposite::encode_value(TVKASNBuffer& out) const {
    for (TVKASNObject const* child = first_; child != nullptr; child = child->next_) {
        if (!child->is_present()) {
            if (!child->optional_ && child->default_ == nullptr) {
                return TVKASN_NO_VALUE;
            }
            continue;
        }
        if (child->is_default_value()) {
            continue;
        }
        if (int const status = child->write(out); status != TVKASN_OK) {
            return status;
        }
    }
    return TVKASN_OK;
}

void TVKASNComposite::check_valid(bool deep) {
    TVKASNObject::check_valid(deep);
    for (TVKASNObject* child = first_; deep && child != nullptr; child = child->next_) {
        child->check_valid(deep);
    }
}

void TVKASNComposite::invalidate_value(TVKASNInvalidateType type) {
    TVKASNObject::invalidate_value(type);
    for (TVKASNObject* child = first_; type == TVKASNInvalidateValue && child != nullptr;
         child = child->next_) {
        child->invalidate_value(type);
    }
}

int TVKASNComposite::emptyi() {
    for (TVKASNObject* child = first_; child != nullptr; child = child->next_) {
        child->emptyi();
        child->forget_value();
    }
    return TVKASN_OK;
}

int TVKASNComposite::get_child_count() const {
    int count = 0;
    for (TVKASNObject const* child = first_; child != nullptr; child = child->next_) {
        ++count;
    }
    return count;
}

int TVKASNComposite::display(TVKASNBuffer& out) const {
    if (!is_present()) {
        return TVKASN_NO_VALUE;
    }
    for (TVKASNObject const* child = first_; child != nullptr; child = child->next_) {
        if (child->is_present()) {
            child->display(out);
            out.append(reinterpret_cast<unsigned char const*>("\n"), 1);
        }
    }
    return TVKASN_OK;
}

int TVKASNComposite::normalize() {
    for (TVKASNObject* child = first_; child != nullptr; child = child->next_) {
        if (child->is_present() && child->is_default_value()) {
            child->empty();
        } else if (int const status = child->normalize(); status != TVKASN_OK) {
            return status;
        }
    }
    return TVKASN_OK;
}

bool TVKASNComposite::is_valid(bool deep) const {
    if (!is_present()) {
        return false;
    }
    for (TVKASNObject const* child = first_; deep && child != nullptr; child = child->next_) {
        bool const absent = !child->is_present() && (child->optional_ || child->default_ != nullptr);
        if (!absent && !child->is_valid(true)) {
            return false;
        }
    }
    return true;
}

bool TVKASNComposite::check_encode_flags() const { return is_present() || (emptyPermitted_ && optional_); }

bool TVKASNComposite::check_encode_flags(bool deep) const {
    return check_encode_flags() && (!deep || is_valid(true));
}

int TVKASNComposite::display_state_flags(TVKASNBuffer& out, int indent) const {
    int status = TVKASNObject::display_state_flags(out, indent);
    for (TVKASNObject const* child = first_; status == TVKASN_OK && child != nullptr; child = child->next_) {
        status = child->display_state_flags(out, indent + 2);
    }
    return status;
}

int TVKASNComposite::register_child(TVKASNObject* child) {
    if (child == nullptr || child->parent_ != nullptr) {
        return TVKASN_BAD_VALUE;
    }
    child->parent_ = this;
    if (last_ == nullptr) {
        first_ = child;
    } else {
        last_->next_ = child;
    }
    last_ = child;
    return TVKASN_OK;
}

int TVKASNComposite::register_child_before(TVKASNObject* child) {
    if (child == nullptr || child->parent_ != nullptr) {
        return TVKASN_BAD_VALUE;
    }
    child->parent_ = this;
    child->next_ = first_;
    first_ = child;
    if (last_ == nullptr) {
        last_ = child;
    }
    return TVKASN_OK;
}

bool TVKASNComposite::get_empty_permitted() { return emptyPermitted_; }

unsigned long TVKASNComposite::set_empty_permitted(bool permitted) {
    emptyPermitted_ = permitted;
    return TVKASN_OK;
}

TVKASNSequence::TVKASNSequence(TVKASNSecurityType security)
    : TVKASNComposite(security, TVKASNUniversal, tvk::kTagSequence) {}

TVKASNSequence::~TVKASNSequence() = default;

int TVKASNSequence::decode_value(TVKASNCBuffer& content, unsigned long length) {
    return TVKASNComposite::decode_value(content, length);
}

int TVKASNSequence::encode_value(TVKASNBuffer& out) const { return TVKASNComposite::encode_value(out); }

TVKASNExplicit::TVKASNExplicit(TVKASNSecurityType security, unsigned long tag, TVKASNObject& child)
    : TVKASNComposite(security, TVKASNContextSpecific, tag) {
    register_child(&child);
}

TVKASNExplicit::~TVKASNExplicit() = default;
