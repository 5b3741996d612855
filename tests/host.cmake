foreach(test IN ITEMS
        CloudAccountSettingsTest
        LocalFileSystemTest
        SqliteCloudInfoStorageTest)
    orvane_test(${test} LIBRARIES OrvaneCloudHost)
endforeach()
foreach(test IN ITEMS
        DatabaseTest
        HashMemoryTest)
    orvane_test(${test} LIBRARIES OrvaneCloudSupport)
endforeach()
