# On x86: the script host of the 32-bit loader.
set(X86_FILTER "MRUListTest.AScriptClientRecordsASentFax")
