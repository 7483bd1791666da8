# The manager tests open the real books: the Outlook stand-in with its test
# tools, the address-book stand-in with the Contacts folder's tools, and a
# script client that changes Outlook.
add_dependencies(test_core standin_outlook standin_wab32 test_scripts)
