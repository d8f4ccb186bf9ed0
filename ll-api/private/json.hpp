// JSON: an owner, members of a reply that may be missing, members of a report that may find no memory, and requests.
#pragma once

#include "printable.hpp"
#include "text.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <json-c/json.h>
#include <memory>
#include <string_view>

namespace vantu
{

struct json_releaser {
    void operator()(json_object *object) const { (void)json_object_put(object); }
};

// A parsed text; null when it was none. Its members live as long as it does.
using json_text = std::unique_ptr<json_object, json_releaser>;

// The member of an object; null when there is none, or `object` is none.
inline json_object *json_member(json_object *object, const char *name)
{
    json_object *member = nullptr;
    (void)json_object_object_get_ex(object, name, &member);
    return member;
}

// The member when it is of that type, else null.
inline json_object *json_member(json_object *object, const char *name, json_type type)
{
    json_object *member = json_member(object, name);
    return json_object_is_type(member, type) != 0 ? member : nullptr;
}

// Gives a member to an object, or an element to an array; false when memory is short for one of them.
inline bool add_member(json_object *object, const char *name, json_text value)
{
    if (object == nullptr || value == nullptr || json_object_object_add(object, name, value.get()) != 0)
        return false;
    (void)value.release();
    return true;
}

inline bool add_element(json_object *array, json_text value)
{
    if (array == nullptr || value == nullptr || json_object_array_add(array, value.get()) != 0)
        return false;
    (void)value.release();
    return true;
}

// A text as it stands between the quotes of a request. A byte that is part of no character becomes a DEL; with that and
// other control characters no command is run.
class json_value
{
public:
    explicit json_value(const char *text)
    {
        bounded_text copy(text_, sizeof(text_));
        for (std::string_view rest = text; !rest.empty();) {
            const std::string_view character(rest.data(), std::max<size_t>(printable_length(rest), 1));
            rest.remove_prefix(character.size());
            // Nothing is cut in the middle of an escape.
            const char escape[] = {'\\', character[0], '\0'};
            const std::string_view out = needs_escape(character[0]) ? escape : is_alone(character) ? "\x7f" : character;
            if (copy.room() < out.size())
                break;
            copy.add(out);
        }
    }

    const char *text() const { return text_; }

private:
    static bool needs_escape(char first) { return first == '"' || first == '\\'; }
    // A byte that is part of no character.
    static bool is_alone(std::string_view character)
    {
        return character.size() == 1 && static_cast<unsigned char>(character[0]) >= 0x80;
    }

    char text_[256];
};

// A request of at most Size - 1 characters: a pattern with the texts in its places; a longer one is cut silently.
template <size_t Size>
class json_request
{
public:
    template <typename... Texts>
    explicit json_request(const char *pattern, Texts... texts)
    {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
        if (snprintf(text_, sizeof(text_), pattern, json_value(texts).text()...) < 0)
            text_[0] = '\0';
#pragma GCC diagnostic pop
    }

    const char *text() const
    {
        return text_;
    }

private:
    char text_[Size];
};

// Takes a number, when the member is there.
inline void take_number(json_object *object, const char *name, uint64_t &out)
{
    if (json_object *member = json_member(object, name))
        out = json_object_get_uint64(member);
}

inline void take_number(json_object *object, const char *name, int &out)
{
    if (json_object *member = json_member(object, name))
        out = json_object_get_int(member);
}

} // namespace vantu
