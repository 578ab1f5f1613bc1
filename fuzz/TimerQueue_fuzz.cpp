// The queue of timed events against a map from due time and number of registration.

#include <map>

#include "JRCmn/Internal/Cmn_TimerQueue.h"
#include "fuzz/FuzzTarget.h"

using namespace NorvikLibInternal;

FUZZ_TARGET(TimerQueue) {
    constexpr std::uint64_t kDelays[] = {0, 1, 3, 3, 10, 50, 400, UINT64_MAX, UINT64_MAX - 1'794'679'831'000};
    TimerQueue queue(input.Below(2) ? IDRuns::kLast - input.Between(0, 300) : 0);
    using Entry = std::pair<std::uint64_t, int>;
    std::map<Entry, int> pending, expired;
    std::uint64_t now = 1'794'679'831'000;
    int number = 0, ran = -1;
    while (!input.IsEmpty()) {
        switch (input.Below(8)) {
            case 0:
            case 1:
            case 2: {
                const std::uint64_t delay = input.OneOf(kDelays);
                const int mine = ++number;
                const int id = queue.Add(
                    now, delay, [&ran, mine] { ran = mine; }, "event");
                for (const auto* map : {&pending, &expired})
                    for (const auto& [entry, other] : *map)
                        SAME(other == id || id <= 0, false);
                pending[{std::min<std::uint64_t>(delay, INT64_MAX - now) + now, mine}] = id;
                SAME(queue.IsEarliest(id), pending.begin()->second == id);
                break;
            }
            case 3: {
                auto& map = expired.empty() || input.Below(2) ? pending : expired;
                if (map.empty()) break;
                auto victim = map.upper_bound({now + input.Below(20), 0});
                if (victim == map.end()) victim = map.begin();
                SAME(queue.Remove(victim->second), true);
                SAME(queue.Remove(victim->second), false);
                map.erase(victim);
                break;
            }
            case 4:
                now += input.Below(input.Below(20) ? 10 : 2'000);
                queue.TakeExpired(now);
                while (!pending.empty() && pending.begin()->first.first <= now)
                    expired.insert(pending.extract(pending.begin()));
                break;
            case 5:
                if (input.Below(20)) break;
                queue.PutBackExpired();
                pending.merge(expired);
                break;
            default: {
                TimedEvent event;
                SAME(queue.PopExpired(event), !expired.empty());
                if (expired.empty()) break;
                event.callable();
                SAME(ran, expired.begin()->first.second);
                expired.erase(expired.begin());
            }
        }
        SAME(queue.EarliestDue().value_or(0), pending.empty() ? 0 : pending.begin()->first.first);
        SAME(queue.HasExpired(), !expired.empty());
    }
}
