// JSON replies of tools: an owner for parsed text, and members that may be missing.
#pragma once

#include <cstdint>
#include <json-c/json.h>
#include <memory>

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
