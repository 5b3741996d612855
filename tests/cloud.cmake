foreach(test IN ITEMS
        CloudManagerTest
        CloudOperationsTest
        CloudRequestsTest
        FileInfoTest
        FilesManagerCostTest
        FilesManagerPersistenceTest
        FilesManagerTest
        IndexedQueriesTest
        ProtocolProxyTest
        SignalReceiversTest)
    orvane_test(${test} LIBRARIES OrvaneCloudManager glog::glog)
endforeach()

# Stored dates must not depend on the user's language or time zone.
foreach(environment IN ITEMS "LC_ALL=de_DE.UTF-8\;TZ=Europe/Berlin" "LC_ALL=ru_RU.UTF-8\;TZ=America/New_York"
        "LC_ALL=C\;TZ=UTC")
    string(REGEX REPLACE "[^A-Za-z]+" "_" name "${environment}")
    add_test(NAME StoredDates.${name} COMMAND FilesManagerPersistenceTest --gtest_filter=StoredDates*)
    set_tests_properties(StoredDates.${name} PROPERTIES
        ENVIRONMENT "QT_QPA_PLATFORM=offscreen;${environment}")
endforeach()
