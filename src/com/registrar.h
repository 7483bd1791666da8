// Registry scripts: a small interpreter of the registrar language used by the
// module's REGISTRY resources.
//
//   HKCR
//   {
//       NoRemove CLSID
//       {
//           ForceRemove {%CLSID_X%} = s '%ProductName% X Class'
//           {
//               InprocServer32 = s '%MODULE%'
//               {
//                   val ThreadingModel = s 'Apartment'
//               }
//           }
//       }
//   }
//
// A key line is [NoRemove|ForceRemove|Delete] name [= type value] [{ body }];
// inside a body "val name = type value" sets a named value. Types are s (text)
// and d (number). %NAME% is replaced from the map, %% is a percent sign; names
// and values may be quoted with '' doubling a quote inside them.
//
// Register mode creates keys and values (a ForceRemove key is deleted first, a
// Delete key is only deleted). Unregister mode deletes what the script names:
// ForceRemove keys with all they hold; other keys after their body, when no
// foreign subkey is left in them; NoRemove keys are kept and only their body is
// processed; named values are deleted unless marked NoRemove.
#pragma once

#include <windows.h>

#include <map>
#include <string>
#include <string_view>

namespace com {

using ReplacementMap = std::map<std::wstring, std::wstring>;

enum class RegistrarMode { Register, Unregister };

// Syntax errors and unknown replacement names give HRESULT_FROM_WIN32(ERROR_INVALID_DATA)
// before anything is written; registry failures are passed on.
//
// classesRoot is the key that the scripts' HKCR blocks are written under: the
// machine's classes by default, an open HKCU\Software\Classes for a per-user
// registration. The other roots are taken as named.
HRESULT RunRegistryScript(std::wstring_view script, const ReplacementMap& replacements,
                          RegistrarMode mode, HKEY classesRoot = HKEY_CLASSES_ROOT) noexcept;

// Runs the script held as resource type "REGISTRY" with the given identifier.
HRESULT RunRegistryScriptResource(HMODULE module, UINT resourceId,
                                  const ReplacementMap& replacements, RegistrarMode mode,
                                  HKEY classesRoot = HKEY_CLASSES_ROOT) noexcept;

}  // namespace com
