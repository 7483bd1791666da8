// Hostile calls on the whole automation surface: every member of every
// interface the four classes list in the type library, called through
// IDispatch::Invoke with arguments of any type, number and flags, and through
// the vtable with the declared types holding hostile values (null and huge
// strings, arrays of any bounds, dimensions and element types, null out
// pointers, extreme integers). A seed stands for one batch of calls.
#include "fuzz/automation_fuzz.h"

#include "com/com_ptr.h"
#include "com/strings.h"
#include "fuzz/hostile_inputs.h"
#include "module/VelPhonebook_h.h"
#include "support/control_host.h"
#include "support/test_support.h"

#include <climits>
#include <memory>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

namespace fuzz {

namespace {

struct Member {
    std::string name;      // Interface.Member
    IID iid{};
    MEMBERID id = 0;
    INVOKEKIND kind = INVOKE_FUNC;
    SHORT vtableOffset = 0;
    std::vector<VARTYPE> params;    // the declared type of each parameter (outer level)
    std::vector<VARTYPE> pointees;  // for VT_PTR parameters: what they point to (VT_I4 for an enumeration)
    std::vector<bool> mayPoint;     // a pointer to storage may be passed (not an interface pointer)
    bool dispatchable = false;     // the interface is dual (Invoke reaches it)
};

struct Target {
    std::string name;
    com::ComPtr<IUnknown> object;
    std::vector<Member> members;
};

bool IsEnumeration(ITypeInfo* info, HREFTYPE reference) {
    com::ComPtr<ITypeInfo> referenced;
    TYPEATTR* attributes = nullptr;
    if (FAILED(info->GetRefTypeInfo(reference, referenced.put())) || FAILED(referenced->GetTypeAttr(&attributes)))
        return false;
    const bool enumeration = attributes->typekind == TKIND_ENUM;
    referenced->ReleaseTypeAttr(attributes);
    return enumeration;
}

// Every member of every interface the class lists, from the registered type library.
std::vector<Member> MembersOf(const CLSID& clsid) {
    std::vector<Member> members;
    com::ComPtr<ITypeLib> library;
    com::ComPtr<ITypeInfo> coclass;
    const HRESULT loaded = ::LoadRegTypeLib(LIBID_VELPHONEBOOKLib, 1, 1, 0x409, library.put());
    const HRESULT found = SUCCEEDED(loaded) ? library->GetTypeInfoOfGuid(clsid, coclass.put()) : loaded;
    if (FAILED(found)) {
        std::fprintf(stderr, "type library: %08lx\n", static_cast<unsigned long>(found));
        return members;
    }
    TYPEATTR* attributes = nullptr;
    coclass->GetTypeAttr(&attributes);
    const WORD interfaces = attributes->cImplTypes;
    coclass->ReleaseTypeAttr(attributes);
    for (UINT i = 0; i < interfaces; ++i) {
        int flags = 0;
        HREFTYPE reference = 0;
        com::ComPtr<ITypeInfo> info;
        coclass->GetImplTypeFlags(i, &flags);
        if ((flags & IMPLTYPEFLAG_FSOURCE) || FAILED(coclass->GetRefTypeOfImplType(i, &reference)) ||
            FAILED(coclass->GetRefTypeInfo(reference, info.put())))
            continue;
        info->GetTypeAttr(&attributes);
        const bool dual = attributes->typekind == TKIND_DISPATCH && (attributes->wTypeFlags & TYPEFLAG_FDUAL);
        const IID iid = attributes->guid;
        info->ReleaseTypeAttr(attributes);
        // The vtable half of a dual interface.
        if (dual && SUCCEEDED(info->GetRefTypeOfImplType(-1, &reference))) {
            com::ComPtr<ITypeInfo> half;
            if (SUCCEEDED(info->GetRefTypeInfo(reference, half.put()))) info = half;
        }
        info->GetTypeAttr(&attributes);
        const WORD functions = attributes->cFuncs;
        // Only the dual interfaces: the type library's IPropertyBag describes
        // the remote form of Read, not the vtable's (added by hand below).
        const bool vtable = dual && attributes->typekind == TKIND_INTERFACE;
        info->ReleaseTypeAttr(attributes);
        com::UniqueBstr interfaceName;
        info->GetDocumentation(MEMBERID_NIL, interfaceName.put(), nullptr, nullptr, nullptr);
        for (WORD f = 0; f < functions && vtable; ++f) {
            FUNCDESC* function = nullptr;
            if (FAILED(info->GetFuncDesc(f, &function))) continue;
            Member member;
            com::UniqueBstr name;
            info->GetDocumentation(function->memid, name.put(), nullptr, nullptr, nullptr);
            member.name = testing_support::Utf8(com::FromBstr(interfaceName.get()) + L"." + com::FromBstr(name.get()));
            member.iid = iid;
            member.id = function->memid;
            member.kind = function->invkind;
            member.vtableOffset = function->oVft;
            member.dispatchable = dual;
            for (SHORT p = 0; p < function->cParams; ++p) {
                const TYPEDESC& type = function->lprgelemdescParam[p].tdesc;
                VARTYPE outer = type.vt, pointee = VT_EMPTY;
                bool mayPoint = false;
                if (outer == VT_USERDEFINED) outer = VT_I4;  // an enumeration by value
                if (outer == VT_PTR && type.lptdesc) {
                    pointee = type.lptdesc->vt;
                    mayPoint = pointee != VT_PTR && pointee != VT_UNKNOWN && pointee != VT_DISPATCH;
                    if (pointee == VT_USERDEFINED) {
                        mayPoint = IsEnumeration(info.get(), type.lptdesc->hreftype);
                        pointee = VT_I4;
                    }
                }
                member.params.push_back(outer);
                member.pointees.push_back(pointee);
                member.mayPoint.push_back(mayPoint);
            }
            info->ReleaseFuncDesc(function);
            members.push_back(std::move(member));
        }
    }
    if (clsid == CLSID_VelPhonebookControl2) {  // the first control has no property bag
        // Read(name, VARIANT* value, IErrorLog* log) and Write(name, VARIANT* value).
        Member read{"IPropertyBag.Read", IID_IPropertyBag, 0, INVOKE_FUNC, SHORT(3 * sizeof(void*)),
                    {VT_LPWSTR, VT_PTR, VT_PTR}, {VT_EMPTY, VT_VARIANT, VT_UNKNOWN}, {false, true, false}, false};
        Member write{"IPropertyBag.Write", IID_IPropertyBag, 0, INVOKE_FUNC, SHORT(4 * sizeof(void*)),
                     {VT_LPWSTR, VT_PTR}, {VT_EMPTY, VT_VARIANT}, {false, true}, false};
        members.push_back(read);
        members.push_back(write);
    }
    return members;
}

// --- Hostile values -------------------------------------------------------------

// Random code points shown in an edit control crash Wine's text shaping (see
// fuzz_child plainedit); the counts of leaks leave them out.
bool g_randomCodePoints = true;

const LONG kIntegers[] = {0, 1, -1, 2, 3, 7, 8, 100, 1000, 65535, 65536, INT_MAX, INT_MIN, INT_MAX - 1, INT_MIN + 1};

BSTR HostileBstr(Rng& rng) {
    switch (rng.Below(8)) {
        case 0: return nullptr;
        case 1: return ::SysAllocString(L"");
        case 2: return ::SysAllocStringLen(nullptr, UINT(rng.Between(2000, 70000)));  // garbage-free zeros
        case 3: {
            std::wstring text(rng.Between(1, 60), L'x');
            for (wchar_t& c : text) c = wchar_t(g_randomCodePoints ? rng.Below(0x10000) : rng.Between(0x20, 0x24F));
            return ::SysAllocStringLen(text.data(), UINT(text.size()));
        }
        case 4: return ::SysAllocStringByteLen("\x41", 1);  // an odd byte length
        case 5: return ::SysAllocString(L"Ann\x001F+1 555 0100\x001EBob\x001F" L"555");
        case 6: return ::SysAllocString(L"%s%n%d\\\\\x001F\x001E");
        default: return ::SysAllocString(std::wstring(rng.Between(1, 3000), L'5').c_str());
    }
}

// An array of any bounds, dimensions and element type; null sometimes.
SAFEARRAY* HostileArray(Rng& rng) {
    if (rng.Chance(8)) return nullptr;
    const VARTYPE types[] = {VT_BSTR, VT_BSTR, VT_BSTR, VT_VARIANT, VT_I4, VT_UI1};
    const VARTYPE type = rng.Pick(types);
    const UINT dims = rng.Chance(85) ? 1 : UINT(rng.Between(0, 3));
    SAFEARRAYBOUND bounds[3]{};
    const LONG lowers[] = {0, 1, 5, -1, INT_MIN, INT_MAX - 1, INT_MAX, INT_MIN + 1, -5};
    for (UINT d = 0; d < dims; ++d) {
        bounds[d].cElements = ULONG(rng.Chance(10) ? 0 : rng.Between(1, 4));
        bounds[d].lLbound = rng.Pick(lowers);
    }
    SAFEARRAY* array = ::SafeArrayCreate(type, dims, bounds);
    if (!array) return nullptr;
    ULONG total = 1;
    for (UINT d = 0; d < dims; ++d) total *= bounds[d].cElements;
    if (type == VT_BSTR)
        for (ULONG i = 0; i < total; ++i) static_cast<BSTR*>(array->pvData)[i] = HostileBstr(rng);
    if (type == VT_VARIANT)
        for (ULONG i = 0; i < total; ++i) {
            VARIANT& v = static_cast<VARIANT*>(array->pvData)[i];
            if (rng.Chance(50)) {
                v.vt = VT_BSTR;
                v.bstrVal = HostileBstr(rng);
            } else {
                v.vt = VT_I4;
                v.lVal = rng.Pick(kIntegers);
            }
        }
    return array;
}

void HostileVariant(Rng& rng, VARIANT& v) {
    ::VariantInit(&v);
    switch (rng.Below(11)) {
        case 0: break;
        case 1: v.vt = VT_NULL; break;
        case 2: v.vt = VT_I4; v.lVal = rng.Pick(kIntegers); break;
        case 3: v.vt = VT_BOOL; v.boolVal = rng.Chance(50) ? VARIANT_TRUE : VARIANT_FALSE; break;
        case 4: v.vt = VT_BSTR; v.bstrVal = HostileBstr(rng); break;
        case 5:
        case 6: v.parray = HostileArray(rng); v.vt = v.parray ? VT_ARRAY : VT_EMPTY; break;  // typed below
        case 7: v.vt = VT_R8; v.dblVal = rng.Chance(50) ? 1e300 : -0.5; break;
        case 8: v.vt = VT_DISPATCH; v.pdispVal = nullptr; break;
        case 9: v.vt = VT_ERROR; v.scode = DISP_E_PARAMNOTFOUND; break;  // an omitted optional argument
        default: v.vt = VT_I2; v.iVal = SHORT(rng.Pick(kIntegers)); break;
    }
    if ((v.vt & VT_ARRAY) && v.parray) {
        VARTYPE element = VT_EMPTY;
        ::SafeArrayGetVartype(v.parray, &element);
        v.vt = VARTYPE(VT_ARRAY | element);
    }
}

// Storage an [out] pointer may point at: big enough for any pointee.
struct OutSlot {
    VARIANT value;
    VARTYPE pointee = VT_EMPTY;
    OutSlot() { ::VariantInit(&value); }
    void Clear() {
        switch (pointee) {
            case VT_BSTR: ::SysFreeString(value.bstrVal); break;
            case VT_SAFEARRAY: if (value.parray) ::SafeArrayDestroy(value.parray); break;
            case VT_VARIANT: ::VariantClear(&value); break;
            default: break;
        }
        ::ZeroMemory(&value, sizeof value);
    }
};

// Checks what a successful call handed back through its [out] pointers.
std::string JudgeOuts(const Member& member, HRESULT hr, const std::vector<OutSlot>& slots,
                      const std::vector<bool>& given) {
    if (FAILED(hr)) return {};
    for (size_t i = 0; i < slots.size(); ++i) {
        if (!given[i]) continue;
        if (slots[i].pointee == VT_SAFEARRAY && slots[i].value.parray) {
            VARTYPE type = VT_EMPTY;
            if (FAILED(::SafeArrayGetVartype(slots[i].value.parray, &type)) ||
                ::SafeArrayGetDim(slots[i].value.parray) != 1)
                return member.name + " returned an unusable array";
        }
        if (slots[i].pointee == VT_BSTR && slots[i].value.bstrVal &&
            ::SysStringLen(slots[i].value.bstrVal) > 10000000)
            return member.name + " returned an unusable string";
    }
    return {};
}

// AddNewContacts pairs each number with the name of the same index: names
// that do not cover the numbers' indexes must be refused, never read outside.
bool UncoveredNumbers(const Member& member, const std::vector<VARIANT>& args) {
    if (member.name != "IAddressBook.AddNewContacts") return false;
    SAFEARRAY* arrays[2] = {args[0].parray, args[1].parray};
    LONGLONG low[2], high[2];
    for (int a = 0; a < 2; ++a) {
        VARTYPE type = VT_EMPTY;
        if (!arrays[a] || ::SafeArrayGetDim(arrays[a]) != 1 || FAILED(::SafeArrayGetVartype(arrays[a], &type)) ||
            type != VT_BSTR)
            return false;
        low[a] = arrays[a]->rgsabound[0].lLbound;
        high[a] = low[a] + LONGLONG(arrays[a]->rgsabound[0].cElements) - 1;
    }
    return high[1] >= low[1] && (low[0] > low[1] || high[0] < high[1]);
}

// One call through the vtable, the declared types holding hostile values.
std::string CallThroughVtable(Rng& rng, const Target& target, const Member& member) {
    com::ComPtr<IUnknown> face;
    if (FAILED(target.object->QueryInterface(member.iid, face.put_void()))) return member.name + " not answered";
    const size_t count = member.params.size();
    std::vector<VARIANT> args(count);
    std::vector<VARIANTARG*> pointers(count);
    std::vector<VARTYPE> types(count);
    std::vector<OutSlot> slots(count);
    std::vector<bool> given(count, false);
    for (size_t i = 0; i < count; ++i) {
        ::VariantInit(&args[i]);
        pointers[i] = &args[i];
        switch (member.params[i]) {
            case VT_BSTR: types[i] = VT_BSTR; args[i].vt = VT_BSTR; args[i].bstrVal = HostileBstr(rng); break;
            case VT_LPWSTR: {
                // A property name: one the control knows, or any text (a BSTR serves as the string).
                const wchar_t* const known[] = {L"DrvUI", L"SkinInterface", L"SearchBox", L"drvui", L""};
                types[i] = VT_BSTR;
                args[i].vt = VT_BSTR;
                args[i].bstrVal = rng.Chance(70) ? ::SysAllocString(rng.Pick(known)) : HostileBstr(rng);
                break;
            }
            case VT_SAFEARRAY: types[i] = VT_ARRAY; args[i].vt = VT_ARRAY | VT_BSTR; args[i].parray = HostileArray(rng); break;
            case VT_VARIANT: types[i] = VT_VARIANT; HostileVariant(rng, args[i]); break;
            case VT_PTR:
                types[i] = VT_PTR;
                slots[i].pointee = member.pointees[i];
                // An interface parameter ([in] IErrorLog*) is null; out pointers are null now and then.
                given[i] = member.mayPoint[i] && !rng.Chance(12);
                if (member.pointees[i] == VT_VARIANT && given[i] && rng.Chance(50))
                    HostileVariant(rng, slots[i].value);  // [in] VARIANT* (a property bag's value)
                args[i].vt = VT_BYREF;
                // A VARIANT* gets the whole slot; any other pointer the slot's
                // union, where Clear looks for what the call handed back.
                if (given[i])
                    args[i].byref = member.pointees[i] == VT_VARIANT ? static_cast<void*>(&slots[i].value)
                                                                     : static_cast<void*>(&slots[i].value.llVal);
                break;
            default: types[i] = VT_I4; args[i].vt = VT_I4; args[i].lVal = rng.Pick(kIntegers); break;
        }
    }
    VARIANT result;
    ::VariantInit(&result);
    const HRESULT call = ::DispCallFunc(face.get(), ULONG_PTR(member.vtableOffset), CC_STDCALL, VT_ERROR, UINT(count),
                                        types.data(), pointers.data(), &result);
    const HRESULT hr = SUCCEEDED(call) ? result.scode : call;
    std::string problem = JudgeOuts(member, hr, slots, given);
    if (problem.empty() && UncoveredNumbers(member, args) && hr != E_INVALIDARG)
        problem = member.name + " took numbers without names";
    for (size_t i = 0; i < count; ++i) {
        if (member.params[i] == VT_SAFEARRAY && args[i].parray) {
            const HRESULT destroyed = ::SafeArrayDestroy(args[i].parray);
            if (FAILED(destroyed) && ::GetEnvironmentVariableW(L"VELPHONEBOOK_FUZZ_TRACE", nullptr, 0))
                std::fprintf(stderr, "%s left its array undestroyable: %08lx\n", member.name.c_str(),
                             static_cast<unsigned long>(destroyed));
        }
        else if (member.params[i] != VT_PTR) ::VariantClear(&args[i]);
        slots[i].Clear();
    }
    return problem;
}

// One call through Invoke: any member identifier (or none of the class's),
// any flags, any number of arguments of any type, named or not.
std::string CallThroughInvoke(Rng& rng, const Target& target, const Member& member) {
    com::ComPtr<IDispatch> dispatch;
    if (FAILED(target.object->QueryInterface(member.iid, dispatch.put_void()))) return member.name + " not answered";
    const WORD flagChoices[] = {DISPATCH_METHOD, DISPATCH_PROPERTYGET, DISPATCH_METHOD | DISPATCH_PROPERTYGET,
                                DISPATCH_PROPERTYPUT, DISPATCH_PROPERTYPUTREF, 0};
    WORD flags = rng.Pick(flagChoices);
    MEMBERID id = rng.Chance(90) ? member.id : MEMBERID(rng.Pick(kIntegers));
    // VELPHONEBOOK_FUZZ_PATH=proper: the declared number and types, [out]
    // parameters by reference (to tell the platform's Invoke from the module).
    wchar_t path[16] = L"";
    ::GetEnvironmentVariableW(L"VELPHONEBOOK_FUZZ_PATH", path, 16);
    const bool proper = std::wstring(path) == L"proper";
    std::vector<VARIANT> args(proper || rng.Chance(70) ? member.params.size() : rng.Between(0, 5));
    std::vector<OutSlot> byRef(args.size());
    for (size_t i = 0; i < args.size(); ++i) {
        HostileVariant(rng, args[i]);
        if (!proper) continue;
        // Arguments go last first.
        const size_t p = member.params.size() - 1 - i;
        ::VariantClear(&args[i]);
        if (member.params[p] == VT_PTR && member.pointees[p] != VT_VARIANT) {
            byRef[i].pointee = member.pointees[p];
            args[i].vt = VARTYPE(VT_BYREF | (member.pointees[p] == VT_SAFEARRAY ? VT_ARRAY | VT_BSTR : member.pointees[p]));
            args[i].byref = &byRef[i].value.llVal;
        } else if (member.params[p] == VT_BSTR) {
            args[i].vt = VT_BSTR;
            args[i].bstrVal = ::SysAllocString(L"Ann\x001F555");
        } else if (member.params[p] == VT_SAFEARRAY) {
            args[i].vt = VT_ARRAY | VT_BSTR;
            com::MakeStringArray({L"Ann"}, &args[i].parray);
        } else {
            args[i].vt = VT_I4;
        }
    }
    // Now and then an argument by reference, as VB passes variables.
    // (A variable of the caller's handed to an [out] parameter is overwritten
    // without being freed, as COM's rules have it: only values that own
    // nothing go by reference, or the run would count its own leaks.)
    for (size_t i = 0; i < args.size() && !proper; ++i)
        if (rng.Chance(20)) {
            ::VariantClear(&args[i]);
            if (rng.Chance(50)) {
                args[i].vt = VT_I4;
                args[i].lVal = rng.Pick(kIntegers);
            }
            byRef[i].value = args[i];
            byRef[i].pointee = VT_VARIANT;
            args[i].vt = VT_BYREF | VT_VARIANT;
            args[i].pvarVal = &byRef[i].value;
        }
    if (proper) {
        id = member.id;
        flags = WORD(member.kind == INVOKE_FUNC ? DISPATCH_METHOD : member.kind);
    }
    DISPID named = DISPID_PROPERTYPUT;
    DISPPARAMS params{args.data(), nullptr, UINT(args.size()), 0};
    if ((flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) && !args.empty() && rng.Chance(80)) {
        params.rgdispidNamedArgs = &named;
        params.cNamedArgs = 1;
    }
    VARIANT result;
    ::VariantInit(&result);
    EXCEPINFO exception{};
    UINT argError = 0;
    dispatch->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &params, rng.Chance(85) ? &result : nullptr,
                     rng.Chance(85) ? &exception : nullptr, rng.Chance(85) ? &argError : nullptr);
    ::VariantClear(&result);
    ::SysFreeString(exception.bstrSource);
    ::SysFreeString(exception.bstrDescription);
    ::SysFreeString(exception.bstrHelpFile);
    for (size_t i = 0; i < args.size(); ++i)
        if (args[i].vt & VT_BYREF) byRef[i].Clear();
        else ::VariantClear(&args[i]);
    return {};
}

struct Surface {
    std::vector<Target> targets;
    std::unique_ptr<control_test::AtlHost> first, second;
};

Surface& TheSurface() {
    static Surface surface = [] {
        Surface s;
        const auto add = [&](const char* name, const CLSID& clsid, com::ComPtr<IUnknown> object) {
            if (object) s.targets.push_back({name, std::move(object), MembersOf(clsid)});
        };
        com::ComPtr<IUnknown> mru, book;
        ::CoCreateInstance(CLSID_MRUList, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, mru.put_void());
        ::CoCreateInstance(CLSID_AddressBook, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, book.put_void());
        add("MRUList", CLSID_MRUList, mru);
        add("AddressBook", CLSID_AddressBook, book);
        s.first = std::make_unique<control_test::AtlHost>(360, 330, control_test::kProgId);
        s.second = std::make_unique<control_test::AtlHost>(360, 330, control_test::kProgId2);
        add("VelPhonebookControl", CLSID_VelPhonebookControl, com::ComPtr<IUnknown>(s.first->control()));
        add("VelPhonebookControl2", CLSID_VelPhonebookControl2, com::ComPtr<IUnknown>(s.second->control()));
        return s;
    }();
    return surface;
}

// One call on the class `which` (or any), from the seed's generator.
std::string OneCall(Rng& rng, int which) {
    Surface& surface = TheSurface();
    if (surface.targets.empty()) return "no class could be created";
    const Target& target = surface.targets[which >= 0 ? size_t(which) % surface.targets.size() : rng.Below(surface.targets.size())];
    if (target.members.empty()) return target.name + " has no members in the type library";
    const Member* chosen = &target.members[rng.Below(target.members.size())];
    // VELPHONEBOOK_FUZZ_MEMBER=Interface.Member keeps to one member (to find whose a leak is).
    wchar_t only[128] = L"";
    if (::GetEnvironmentVariableW(L"VELPHONEBOOK_FUZZ_MEMBER", only, 128)) {
        for (const Member& m : target.members)
            if (testing_support::Utf8(only) == m.name) chosen = &m;
        if (testing_support::Utf8(only) != chosen->name) return {};
    }
    const Member& member = *chosen;
    if (::GetEnvironmentVariableW(L"VELPHONEBOOK_FUZZ_TRACE", nullptr, 0)) {
        std::fprintf(stderr, "%s\n", member.name.c_str());
        std::fflush(stderr);
    }
    // VELPHONEBOOK_FUZZ_PATH=invoke or vtable keeps to one way of calling.
    wchar_t path[16] = L"";
    ::GetEnvironmentVariableW(L"VELPHONEBOOK_FUZZ_PATH", path, 16);
    const bool invoke = member.dispatchable && (std::wstring(path) == L"invoke" || std::wstring(path) == L"proper" ||
                                                (std::wstring(path) != L"vtable" && rng.Chance(50)));
    const std::string problem = invoke ? CallThroughInvoke(rng, target, member) : CallThroughVtable(rng, target, member);
    // Let posted work (reloads, events) run between calls, as a host's loop would.
    MSG message;
    for (int i = 0; i < 50 && ::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE); ++i) {
        ::TranslateMessage(&message);
        ::DispatchMessageW(&message);
    }
    return problem;
}

}  // namespace

int RunAutomationCalls(const std::vector<uint64_t>& seeds) {
    testing_support::ComApartment apartment;
    for (const uint64_t seed : seeds) {
        std::printf("BEGIN %llu\n", static_cast<unsigned long long>(seed));
        std::fflush(stdout);
        const auto start = std::chrono::steady_clock::now();
        Rng rng(seed);
        std::string problem;
        // The seed picks the class, so that the figures can be told per class.
        for (int call = 0; call < kCallsPerSeed && problem.empty(); ++call)
            problem = OneCall(rng, int(seed % kClasses));
        const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
        std::printf("VERDICT %llu %.1f %s %s\n", static_cast<unsigned long long>(seed), ms,
                    problem.empty() ? "ok" : "wrong", problem.c_str());
        std::fflush(stdout);
    }
    TheSurface().targets.clear();
    return 0;
}

int RunAutomationLeaks(int calls, uint64_t seed) {
    testing_support::ComApartment apartment;
    if (::GetEnvironmentVariableW(L"VELPHONEBOOK_FUZZ_DIRECT", nullptr, 0)) {
        // ListsToString by the vtable on arrays of each hostile kind, to find
        // which one the heap grows with.
        com::ComPtr<IMRUList> list;
        ::CoCreateInstance(CLSID_MRUList, nullptr, CLSCTX_INPROC_SERVER, IID_IMRUList, list.put_void());
        const auto make = [](VARTYPE type, UINT dims, LONG lower, ULONG count, UINT length) {
            SAFEARRAYBOUND bounds[2] = {{count, lower}, {count, lower}};
            SAFEARRAY* array = ::SafeArrayCreate(type, dims, bounds);
            const ULONG total = dims == 2 ? count * count : count;
            for (ULONG i = 0; i < total && array; ++i)
                if (type == VT_BSTR) static_cast<BSTR*>(array->pvData)[i] = ::SysAllocStringLen(nullptr, length);
            return array;
        };
        struct Kind { const char* name; VARTYPE type; UINT dims; LONG lower; ULONG count; UINT length; };
        const Kind kinds[] = {{"bstr 3 short", VT_BSTR, 1, 0, 3, 5},   {"bstr 3 long", VT_BSTR, 1, 0, 3, 70000},
                              {"bstr empty", VT_BSTR, 1, 0, 0, 0},      {"bstr INT_MIN", VT_BSTR, 1, INT_MIN, 3, 5},
                              {"bstr 2-dim", VT_BSTR, 2, 0, 2, 5},      {"variant 3", VT_VARIANT, 1, 0, 3, 0},
                              {"i4 3", VT_I4, 1, 0, 3, 0}};
        for (const Kind& k : kinds) {
            const LeakCounts before = TakeLeakCounts();
            for (int i = 0; i < calls; ++i) {
                SAFEARRAY* names = make(k.type, k.dims, k.lower, k.count, k.length);
                SAFEARRAY* numbers = make(VT_BSTR, 1, 0, 3, 5);
                BSTR text = nullptr;
                list->ListsToString(&text, names, numbers);
                ::SysFreeString(text);
                ::SafeArrayDestroy(names);
                ::SafeArrayDestroy(numbers);
            }
            std::printf("DIRECT %-14s %d calls: live %.0f -> %.0f KB\n", k.name, calls, before.liveKB,
                        TakeLeakCounts().liveKB);
        }
        return 0;
    }
    Rng rng(seed);
    g_randomCodePoints = false;
    const size_t classes = TheSurface().targets.size();
    for (size_t which = 0; which < classes; ++which) {
        // What stays for the process comes with the first calls.
        for (int call = 0; call < calls / 10; ++call) OneCall(rng, int(which));
        control_test::Pump(200);
        const LeakCounts before = TakeLeakCounts();
        for (int call = 0; call < calls; ++call) OneCall(rng, int(which));
        control_test::Pump(200);
        const LeakCounts after = TakeLeakCounts();
        std::printf("LEAK %s %d %d %d %.0f %.0f %.0f %.0f\n", TheSurface().targets[which].name.c_str(), calls,
                    before.handles, after.handles, before.privateKB, after.privateKB, before.liveKB, after.liveKB);
        std::fflush(stdout);
    }
    TheSurface().targets.clear();
    return 0;
}

LeakCounts TakeLeakCounts() {
    const testing_support::MemoryKB memory = testing_support::ProcessMemory();
    return {testing_support::HandleCount(), memory.committed, memory.live};
}

}  // namespace fuzz
