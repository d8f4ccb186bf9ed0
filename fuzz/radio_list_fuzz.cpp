// The kept list of radios against a vector: fresh readings with radios that come, go, change and occur twice.

#include "fuzz.hpp"
#include "vantu-libs2/sclists-functions.h"
#include "vantu-libs2/vantu-wifi-common.h"

namespace
{

struct model_radio {
    std::string name;
    int channel;
    size_t samples;
    size_t issues;
    void *owned;
};

struct reading {
    std::string name;
    int channel;
};

std::vector<reading> readings;

int get_radios(sclist_t *radios)
{
    for (const reading &one : readings) {
        vantu_common_radio radio = {};
        fuzz::fill(radio.interface, one.name);
        radio.channel = one.channel;
        radio.usr_data = &readings; // nobody's: it must not be taken over
        REQUIRE(sclist_append(radios, &radio) == 1);
    }
    return 0;
}

bool is_same(const std::string &a, const std::string &b)
{
    return strcasecmp(a.c_str(), b.c_str()) == 0;
}

class kept_radios
{
public:
    kept_radios() { REQUIRE(vantu_common_radio_list_init(&kept_) == 0); }
    ~kept_radios()
    {
        REQUIRE(vantu_common_radio_list_free(&kept_) == 0);
        REQUIRE(vantu_common_radio_list_free(&kept_) == 0);
    }
    kept_radios(const kept_radios &) = delete;
    kept_radios &operator=(const kept_radios &) = delete;

    void update(bool report)
    {
        fuzz::list<vantu_common_radio> removed(vantu_common_radio_list_init);
        fuzz::list<vantu_common_radio> added(vantu_common_radio_list_init);
        vantu_platform_ops ops = {};
        ops.get_radios = get_radios;
        REQUIRE(vantu_common_radio_list_update(&kept_, report ? removed.get() : nullptr, report ? added.get() : nullptr,
                                               &ops) == 0);
        std::vector<std::string> gone;
        std::vector<std::string> come;
        update_model(gone, come);
        if (!report)
            return;
        check_names(removed.records(), gone);
        check_names(added.records(), come);
    }

    // What the owner does between two updates: a sample, an issue, data of its own.
    void use(FuzzedDataProvider &in)
    {
        if (model_.empty())
            return;
        const size_t at = in.ConsumeIntegralInRange<size_t>(0, model_.size() - 1);
        auto &radio = *static_cast<vantu_common_radio *>(sclist_get_at(&kept_, static_cast<unsigned>(at)));
        const vantu_radio_stats stats = {};
        REQUIRE(vantu_ringbuffer_write(&radio.radio_stats_buff, &stats) != nullptr);
        model_[at].samples++;
        const vantu_issue issue = {NOISE, 1.0};
        if (in.ConsumeBool()) {
            REQUIRE(sclist_append(&radio.issues, &issue) == 1);
            model_[at].issues++;
        }
        if (radio.usr_data == nullptr && in.ConsumeBool()) {
            radio.usr_data = malloc(8);
            model_[at].owned = radio.usr_data;
        }
    }

    void check()
    {
        REQUIRE(sclist_size(&kept_) == model_.size());
        size_t i = 0;
        SCLIST_FOREACH(vantu_common_radio, radio, &kept_) {
            const model_radio &wanted = model_[i++];
            REQUIRE(wanted.name == radio->interface && wanted.channel == radio->channel);
            REQUIRE(radio->usr_data == wanted.owned);
            REQUIRE(static_cast<size_t>(vantu_ringbuffer_size(&radio->radio_stats_buff)) == wanted.samples);
            REQUIRE(sclist_size(&radio->issues) == wanted.issues);
        }
        SCLIST_FOREACH_END(&kept_);
    }

private:
    void update_model(std::vector<std::string> &gone, std::vector<std::string> &come)
    {
        // The owner's data of a radio that is gone stays the owner's.
        for (auto at = model_.begin(); at != model_.end();) {
            const bool there = std::any_of(readings.begin(), readings.end(),
                                           [&](const reading &one) { return is_same(one.name, at->name); });
            if (!there) {
                gone.push_back(at->name);
                free(at->owned);
            }
            at = there ? at + 1 : model_.erase(at);
        }
        for (const reading &one : readings) {
            const auto found = std::find_if(model_.begin(), model_.end(),
                                            [&](const model_radio &radio) { return is_same(radio.name, one.name); });
            if (found == model_.end()) {
                come.push_back(one.name);
                model_.push_back({one.name, one.channel, 0, 0, nullptr});
            } else {
                found->name = one.name;
                found->channel = one.channel;
            }
        }
    }

    static void check_names(const std::vector<vantu_common_radio *> &radios, const std::vector<std::string> &names)
    {
        REQUIRE(radios.size() == names.size());
        for (size_t i = 0; i < names.size(); i++)
            REQUIRE(names[i] == radios[i]->interface);
    }

    sclist_t kept_;
    std::vector<model_radio> model_;
};

} // namespace

FUZZ_TARGET(std::string_view input)
{
    FuzzedDataProvider in(reinterpret_cast<const uint8_t *>(input.data()), input.size());
    kept_radios radios;
    for (int round = 0; round < 8 && in.remaining_bytes() > 0; round++) {
        readings.clear();
        for (int left = in.ConsumeIntegralInRange(0, 5); left > 0; left--)
            readings.push_back({fuzz::take_name(in, 2), in.ConsumeIntegral<uint8_t>()});
        radios.update(in.ConsumeBool());
        radios.check();
        for (int left = in.ConsumeIntegralInRange(0, 3); left > 0; left--)
            radios.use(in);
    }
    radios.check();
}
