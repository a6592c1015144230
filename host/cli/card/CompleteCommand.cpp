#include <set>

#include "host/card/CardFailure.h"
#include "host/cli/card/CardCommands.h"
#include "host/cli/card/CardRun.h"
#include "host/cli/card/CommonOptions.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"

namespace host {

namespace {

using Values = std::set<std::string>;

/// Adds a text that can be typed: one that is shown unchanged.
void add(Values& values, const std::string& text) {
    if (!text.empty() && printable(text) == text) {
        values.insert(text);
    }
}

Values readers(CardRun& run) {
    const std::vector<std::string> names = shownNames(run.slots());
    return {names.begin(), names.end()};
}

Values ofTokens(CardRun& run, std::string TokenView::*field) {
    Values values;
    for (const SlotView& slot : run.slots()) {
        if (slot.token && slot.token->isInitialised) {
            add(values, (*slot.token).*field);
        }
    }
    return values;
}

Values identifiers(CardRun& run) {
    Values values;
    for (const ObjectView& object : run.token().objects()) {
        add(values, hexadecimalText(object.id));
    }
    return values;
}

Values valuesOf(CardRun& run, const std::string& what) {
    if (what == "readers") {
        return readers(run);
    }
    if (what == "tokens") {
        return ofTokens(run, &TokenView::label);
    }
    if (what == "serials") {
        return ofTokens(run, &TokenView::serial);
    }
    if (what == "identifiers") {
        return identifiers(run);
    }
    throw UsageError("complete takes readers, tokens, serials or identifiers");
}

void complete(CardRun& run) {
    Json list = Json::array();
    try {
        for (const std::string& value : valuesOf(run, run.arguments().operands.front())) {
            list.push_back(value);
            run.text += value + "\n";
        }
    } catch (const CardFailure& failure) {
        run.status = failure.status;
    } catch (const ModuleError&) {
        run.status = ExitStatus::Failed;
    } catch (const PluginError&) {
        run.status = ExitStatus::NoPlugin;
    }
    run.answer["values"] = std::move(list);
}

} // namespace

CardCommand completeCommand() {
    return {"complete",
            "list the values that a shell may complete",
            {{"WHAT", "readers, tokens, serials or identifiers"}},
            withToken({}),
            "Prints one value a line. Logs nobody in, so that only public objects count. A token or\n"
            "module that does not answer gives no output and no message, only an exit status.\n",
            complete};
}

} // namespace host
