// The list against a vector: every operation in any order, on a list that copies its elements and on one that does not.

#include "fuzz.hpp"

namespace
{

struct element {
    int key;
    int content;
};

int compare(const void *a, const void *b)
{
    return static_cast<const element *>(a)->key - static_cast<const element *>(b)->key;
}

int seek(const void *stored, const void *key)
{
    return static_cast<const element *>(stored)->content == *static_cast<const int *>(key) ? 1 : 0;
}

size_t size_of(const void *)
{
    return sizeof(element);
}

class pair_of_lists
{
public:
    pair_of_lists(bool copies, bool compares) : copies_(copies), compares_(compares)
    {
        REQUIRE(sclist_init(&list_) == 0);
        REQUIRE(sclist_attributes_copy(&list_, size_of, copies ? 1 : 0) == 0);
        REQUIRE(sclist_attributes_seeker(&list_, seek) == 0);
        if (compares)
            REQUIRE(sclist_attributes_comparator(&list_, compare) == 0);
    }
    ~pair_of_lists()
    {
        (void)sclist_iterator_stop(&list_);
        sclist_destroy(&list_);
        sclist_destroy(&list_);
    }
    pair_of_lists(const pair_of_lists &) = delete;
    pair_of_lists &operator=(const pair_of_lists &) = delete;

    void insert(FuzzedDataProvider &in, bool append)
    {
        element *fresh = new_element(in);
        const auto size = static_cast<unsigned>(model_.size());
        const unsigned at = append ? size : in.ConsumeIntegralInRange<unsigned>(0, size + 2);
        const int result = append ? sclist_append(&list_, fresh) : sclist_insert_at(&list_, fresh, at);
        const bool fits = !iterates_ && at <= size;
        REQUIRE(result == (fits ? 1 : -1));
        if (fits)
            model_.insert(model_.begin() + at, fresh);
    }

    void delete_at(FuzzedDataProvider &in)
    {
        const auto at = in.ConsumeIntegralInRange<unsigned>(0, static_cast<unsigned>(model_.size()) + 1);
        const bool there = !iterates_ && at < model_.size();
        REQUIRE(sclist_delete_at(&list_, at) == (there ? 0 : -1));
        if (there)
            model_.erase(model_.begin() + at);
    }

    void delete_equal(FuzzedDataProvider &in)
    {
        const element *sought = new_element(in);
        const int at = position_of(sought);
        const bool there = !iterates_ && at >= 0;
        REQUIRE(sclist_delete(&list_, sought) == (there ? 0 : -1));
        if (there)
            model_.erase(model_.begin() + at);
    }

    void find(FuzzedDataProvider &in)
    {
        const element *sought = new_element(in);
        REQUIRE(sclist_locate(&list_, sought) == position_of(sought));
        REQUIRE(sclist_contains(&list_, sought) == (position_of(sought) >= 0 ? 1 : 0));
        const auto first =
            std::find_if(model_.begin(), model_.end(), [&](const element *e) { return e->content == sought->content; });
        const void *found = sclist_seek(&list_, &sought->content);
        REQUIRE(first == model_.end() ? found == nullptr : is_stored_form(found, *first));
    }

    void clear()
    {
        REQUIRE(sclist_clear(&list_) == (iterates_ ? -1 : 0));
        if (!iterates_)
            model_.clear();
    }

    void start()
    {
        REQUIRE(sclist_iterator_start(&list_) == (iterates_ ? 0 : 1));
        if (!iterates_)
            next_ = 0;
        iterates_ = true;
    }

    void next()
    {
        const bool left = iterates_ && next_ < model_.size();
        REQUIRE((sclist_iterator_hasnext(&list_) != 0) == left);
        const void *found = sclist_iterator_next(&list_);
        REQUIRE(left ? is_stored_form(found, model_[next_]) : found == nullptr);
        next_++;
    }

    void stop()
    {
        REQUIRE(sclist_iterator_stop(&list_) == (iterates_ ? 1 : 0));
        iterates_ = false;
    }

    // Forward by its links, backward, and by position.
    void check()
    {
        REQUIRE(sclist_size(&list_) == model_.size());
        REQUIRE(list_.spareelsnum <= SCLIST_MAX_SPARE_ELEMS);
        const sclist_entry_s *entry = list_.head_sentinel;
        for (size_t i = 0; i < model_.size(); i++) {
            REQUIRE(entry->next->prev == entry);
            entry = entry->next;
            REQUIRE(is_stored_form(entry->data, model_[i]));
            REQUIRE(sclist_get_at(&list_, static_cast<unsigned>(i)) == entry->data);
            if (i == (model_.size() - 1) / 2)
                REQUIRE(list_.mid == entry);
        }
        REQUIRE(entry->next == list_.tail_sentinel && list_.tail_sentinel->prev == entry);
        REQUIRE(sclist_get_at(&list_, static_cast<unsigned>(model_.size())) == nullptr);
        REQUIRE(model_.empty() == (list_.mid == nullptr));
    }

private:
    // Of few kinds, so that equal ones occur. Sometimes the element that the list of pointers already holds.
    element *new_element(FuzzedDataProvider &in)
    {
        if (!model_.empty() && in.ConsumeBool())
            return model_[in.ConsumeIntegralInRange<size_t>(0, model_.size() - 1)];
        elements_.push_back(std::make_unique<element>());
        *elements_.back() = {in.ConsumeIntegralInRange(0, 7), in.ConsumeIntegralInRange(0, 7)};
        return elements_.back().get();
    }

    bool is_stored_form(const void *stored, const element *wanted) const
    {
        return copies_ ? stored != nullptr && stored != wanted && memcmp(stored, wanted, sizeof(*wanted)) == 0
                       : stored == wanted;
    }

    int position_of(const element *sought) const
    {
        for (size_t i = 0; i < model_.size(); i++) {
            if (compares_ ? model_[i]->key == sought->key : !copies_ && model_[i] == sought)
                return static_cast<int>(i);
        }
        return -1;
    }

    sclist_t list_;
    bool copies_;
    bool compares_;
    bool iterates_ = false;
    size_t next_ = 0;
    std::vector<element *> model_;
    std::vector<std::unique_ptr<element>> elements_;
};

} // namespace

FUZZ_TARGET(std::string_view input)
{
    FuzzedDataProvider in(reinterpret_cast<const uint8_t *>(input.data()), input.size());
    pair_of_lists lists(in.ConsumeBool(), in.ConsumeBool());
    while (in.remaining_bytes() > 0) {
        switch (in.ConsumeIntegralInRange(0, 11)) {
        case 0:
        case 1:
        case 2:
            lists.insert(in, false);
            break;
        case 3:
        case 4:
            lists.insert(in, true);
            break;
        case 5:
            lists.delete_at(in);
            break;
        case 6:
            lists.delete_equal(in);
            break;
        case 7:
            lists.find(in);
            break;
        case 8:
            lists.clear();
            break;
        case 9:
            lists.start();
            break;
        case 10:
            lists.next();
            break;
        default:
            lists.stop();
            break;
        }
    }
    lists.check();
}
