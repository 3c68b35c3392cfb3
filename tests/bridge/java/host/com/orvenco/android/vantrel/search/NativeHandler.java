package com.orvenco.android.vantrel.search;

/** The search engine's native entry points; loading this class loads the library. */
public final class NativeHandler {
    static {
        System.loadLibrary("kestrin-searcher");
    }

    private NativeHandler() {}

    /** Makes sure the library is loaded (for classes whose natives it registers). */
    static void ensureLoaded() {}

    public static native int native_init_engine(String rootPath, int mode);
    public static native void native_release_engine();
    public static native String native_search(String indexName, String fieldName, String query,
            int start, int num, boolean flag);
    public static native int native_add_index_for_table(String indexName, String dbName,
            String tableName, String keyField, String indexFields, String whereCondition,
            String tabPinyinField, String profileFields, String notokenFields, String groupName);
    public static native int native_addDB(String name, String path, String key, boolean wal);
    /** The connection as an int: usable only where native pointers are 32 bits. */
    public static native int native_hook_db(String dbName, int connection);
    public static native int native_hook_db(String dbName, long connection);
    public static native int native_stop_hook_db(String dbName);
    public static native int native_scan_table(String dbName, String tableName, String indexName);
    public static native int native_set_index_dataFunc(String name);
    public static native int native_set_log_callback();
    public static native int native_modify_doc(String indexName, String dbName, String tableName,
            String pkey, Object[] values);
    public static native int native_del_doc(String indexName, String dbName, String tableName,
            String pkey);
    public static native String native_index_version();
    public static native void native_ellipse_index(String groupName, boolean force);
    public static native int native_set_max_rawid(String indexName, String dbName,
            String tableName, int rowid);
    public static native int native_get_del_num(String groupName);
    public static native int native_set_auto_save(String indexName, String dbName,
            String tableName, boolean on);
    public static native String native_get_table_record(String indexName, String dbName,
            String tableName);
    public static native int native_sign_str_hash(String[] strings, int seed);
    public static native int native_base_weight();
    public static native int native_set_option(String name, String value);
}
