#include "scripts/Scripts.h"
#include "scripts/common/Keywords.h"
#include "scripts/common/ParameterErrors.h"
#include "scripts/common/UserLogin.h"
#include "token/ObjectSearch.h"
#include "util/Texts.h"

namespace plugin {

namespace {

constexpr SearchTrace kSearchTrace{.showsCount = true, .announcesInitTwice = true, .announcesFindTwice = true};

/// Reads the class to search for from the first parameter. An "OBJ_TYPE" at another position has no effect: the search
/// then finds all classes.
Result setClass(const Trace& trace, const Zel::Vector<Zel::Parameter>& params, AttributeTemplate& searched,
                bool& isKeyPair) {
    if (params.isEmpty() || !equals(params.at(0)->getId(), L"OBJ_TYPE")) {
        return CKR_OK;
    }
    const Zel::TString& value = params.at(0)->getValue();
    if (equals(value, L"CERTIFICATE")) {
        searched.setNumber(CKA_CLASS, CKO_CERTIFICATE);
    } else if (equals(value, L"KEY_PAIR")) {
        searched.setNumber(CKA_CLASS, CKO_PRIVATE_KEY);
        isKeyPair = true;
    } else if (!equals(value, L"ANY")) {
        // The trace says CERTIFICATE for every bad value: operators' tools look for this text.
        return badParameter(trace, L"CERTIFICATE", value);
    }
    return CKR_OK;
}

/// Destroys one object. Some cards answer CKR_DEVICE_ERROR to a removal that they carried out.
CK_RV destroy(const Session& session, const Trace& trace, CK_OBJECT_HANDLE hObject) {
    const CK_RV rv =
        session.call(trace, cryptoki::destroyObject).in(L"hObject", hObject).run(session.handle(), hObject);
    return rv == CKR_DEVICE_ERROR ? CKR_OK : rv;
}

/// Destroys every object of one search while the search is open. `foundAny` covers all searches of the script.
Result destroyMatches(const Session& session, const Trace& trace, AttributeTemplate& searched, bool& foundAny) {
    const ObjectSearch search(session, trace, kSearchTrace);
    CK_RV rv = search.init(searched);
    if (rv != CKR_OK) {
        return rv;
    }
    for (std::uint32_t total = 0;; ++total) {
        CK_OBJECT_HANDLE hObject = 0;
        CK_ULONG count = 0;
        rv = search.find(hObject, count);
        if (rv != CKR_OK) {
            return rv;
        }
        if (count == 0) {
            break;
        }
        if (total == ObjectSearch::kMostObjects) {
            return search.failAsEndless();
        }
        rv = destroy(session, trace, hObject);
        if (rv != CKR_OK) {
            static_cast<void>(search.finish());
            return rv;
        }
        foundAny = true;
    }
    if (!foundAny) {
        trace.failure(L": Data Not Found");
        static_cast<void>(search.finish());
        return Result::client(ClientCode::kNotFound);
    }
    return search.finish();
}

Result removeMatching(const ScriptContext& script, const Trace& trace) {
    AttributeTemplate searched(10);
    bool isKeyPair = false;
    if (const Result type = setClass(trace, *script.params, searched, isKeyPair); !type.isOk()) {
        return type;
    }
    searched.endFixed();
    const Result applied =
        applyKeywords(trace, *script.params, certificateKeywords(), UnreadableLabel::Skipped, &searched);
    if (!applied.isOk()) {
        return applied;
    }
    bool foundAny = false;
    const Result removed = destroyMatches(script.session, trace, searched, foundAny);
    if (!removed.isOk() || !isKeyPair) {
        return removed;
    }
    searched.setNumber(CKA_CLASS, CKO_PUBLIC_KEY);
    return destroyMatches(script.session, trace, searched, foundAny);
}

} // namespace

Result scripts::removeData(ScriptContext& script, const Trace& trace) {
    bool loggedIn = false;
    const Result login = requireAndLogin(script, trace, loggedIn);
    if (!login.isOk()) {
        return login;
    }
    const Result result = withOwnLogin(script.session, trace, loggedIn, [&] { return removeMatching(script, trace); });
    return afterLogout(script.session, trace, loggedIn, result);
}

} // namespace plugin
