#include <benchmark/benchmark.h>
#include <simdjson.h>

#include <nlohmann/json.hpp>
#include <string>

#include "LargeProfile.h"
#include "mapping/ProfileCodec.h"

// The profile's JSON libraries side by side at 5,000 rows (2.4 MB), in memory: the codec as
// shipped (simdjson reads, a small writer keeps the keys in field order), nlohmann parsing the same
// document into its tree and writing it from one, and simdjson parsing and walking it alone. The
// hand-written pull reader that simdjson replaced is measured by building this file against the
// last commit that had it (5121619): only the Codec rows use the codec, so there they are the old
// reader's and writer's figures.
namespace tessiva {
namespace {

using bench::largeProfile;

template <typename Value, typename Convert>
nlohmann::json rowObject(const RowKeyed<Value>& rows, Convert&& convert) {
    nlohmann::json out = nlohmann::json::object();
    for (const auto& [row, value] : rows)
        out[std::to_string(row)] = convert(value);
    return out;
}

// The same document built and written by nlohmann, for the save comparison.
std::string encodeWithNlohmann(const MappingProfileSnapshot& s) {
    const auto same = [](const auto& v) { return v; };
    nlohmann::json root;
    root["version"] = s.version;
    root["trackIndexToPC"] = rowObject(s.trackIndexToPC, same);
    root["trackIndexToName"] = rowObject(s.trackIndexToName, same);
    root["trackIndexToChannel"] = rowObject(s.trackIndexToChannel, same);
    root["trackIndexToEventType"] =
        rowObject(s.trackIndexToEventType, [](MappingEventType t) { return rawValue(t); });
    root["trackIndexToNote"] = rowObject(s.trackIndexToNote, same);
    root["oscTrackIdentityByIndex"] = rowObject(s.oscTrackIdentityByIndex, same);
    root["oscInsertedTrackSerial"] = s.oscInsertedTrackSerial;
    root["oscBankFocusMappingsByTrackIndex"] =
        rowObject(s.oscBankFocusMappingsByTrackIndex, [](const OSCBankFocusMapping& m) {
            nlohmann::json j = {{"id", m.id},
                                {"trackIndex", m.trackIndex},
                                {"trackName", m.trackName},
                                {"bankUUID", m.bankUUID},
                                {"bankName", m.bankName},
                                {"updatedAt", m.updatedAt}};
            if (m.trackIdentity)
                j["trackIdentity"] = *m.trackIdentity;
            if (m.groupUUID)
                j["groupUUID"] = *m.groupUUID;
            if (m.groupName)
                j["groupName"] = *m.groupName;
            if (m.sectionName)
                j["sectionName"] = *m.sectionName;
            if (m.workspaceUUID)
                j["workspaceUUID"] = *m.workspaceUUID;
            if (m.workspaceName)
                j["workspaceName"] = *m.workspaceName;
            return j;
        });
    return root.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

void BM_CodecDecode(benchmark::State& state) {
    const std::string json = ProfileCodec::encode(largeProfile());
    for (auto _ : state)
        benchmark::DoNotOptimize(ProfileCodec::decode(json));
}

void BM_CodecEncode(benchmark::State& state) {
    const MappingProfileSnapshot profile = largeProfile();
    for (auto _ : state)
        benchmark::DoNotOptimize(ProfileCodec::encode(profile));
}

void BM_NlohmannParseOnly(benchmark::State& state) {
    const std::string json = ProfileCodec::encode(largeProfile());
    for (auto _ : state)
        benchmark::DoNotOptimize(nlohmann::json::parse(json));
}

void BM_NlohmannEncode(benchmark::State& state) {
    const MappingProfileSnapshot profile = largeProfile();
    for (auto _ : state)
        benchmark::DoNotOptimize(encodeWithNlohmann(profile));
}

// Parses and touches every row of every map, as a decoder would.
void BM_SimdjsonParseAndWalk(benchmark::State& state) {
    const simdjson::padded_string json(ProfileCodec::encode(largeProfile()));
    simdjson::dom::parser parser;
    for (auto _ : state) {
        simdjson::dom::element root;
        if (parser.parse(json).get(root)) {
            state.SkipWithError("parse failed");
            break;
        }
        std::size_t fields = 0;
        for (auto [key, value] : root.get_object()) {
            if (value.is_object()) {
                for (auto [row, item] : value.get_object()) {
                    benchmark::DoNotOptimize(row.data());
                    if (item.is_object()) {
                        for (auto [k, v] : item.get_object()) {
                            benchmark::DoNotOptimize(v.is_string() ? v.get_string().value().size()
                                                                   : 0);
                            ++fields;
                        }
                    }
                    ++fields;
                }
            }
            benchmark::DoNotOptimize(key.data());
        }
        benchmark::DoNotOptimize(fields);
    }
}
BENCHMARK(BM_SimdjsonParseAndWalk)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(9)
    ->ReportAggregatesOnly(true);

BENCHMARK(BM_CodecDecode)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(9)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_CodecEncode)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(9)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_NlohmannParseOnly)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(9)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_NlohmannEncode)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(9)
    ->ReportAggregatesOnly(true);

}  // namespace
}  // namespace tessiva

BENCHMARK_MAIN();
