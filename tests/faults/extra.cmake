add_dependencies(test_faults standin_outlook)
# On x86: the Windows book's watchers and adds (the 32-bit address-book
# library and its threads), counted.
set(X86_FILTER "HostileContactsTest.WatchersAndAdds*")
