package com.orvenco.android.vantrel.search;

/**
 * The search engine's native entry points. Loading this class loads the library
 * {@code libkestrin-searcher.so}, which registers these methods.
 *
 * <p>Every method reports failure by its return value alone ({@code -1} or {@code null}); nothing
 * is thrown. Methods that need the engine fail while it is not running, that is before
 * {@link #native_init_engine} or after {@link #native_release_engine}. The methods may be called
 * from several threads at once, except that starting or releasing the engine must not overlap
 * any other call.
 */
public final class NativeHandler {
    static {
        System.loadLibrary("kestrin-searcher");
    }

    private NativeHandler() {}

    /** Makes sure the library is loaded (for classes whose natives it registers). */
    static void ensureLoaded() {}

    /**
     * Starts the engine on a root directory, replacing a running one (which is not saved), and
     * watches again the tables that earlier runs registered there.
     *
     * @param rootPath directory that holds the engine's configuration and index files
     * @param mode not used
     * @return 0, or -1 for a null or empty path
     */
    public static native int native_init_engine(String rootPath, int mode);

    /**
     * Stops the running scan and every change hook, then releases the engine without saving it.
     */
    public static native void native_release_engine();

    /**
     * Searches an index.
     *
     * @param indexName the index
     * @param fieldName one field to search, or null for all fields
     * @param query the text the user typed: Chinese, full pinyin, initials or Latin words
     * @param start index of the first hit returned
     * @param num most hits returned; below 1 returns null
     * @param flag not used
     * @return the hits as JSON text, or null when nothing was found or the call failed
     */
    public static native String native_search(String indexName, String fieldName, String query,
            int start, int num, boolean flag);

    /**
     * Registers a table of a registered database for an index, and has the engine watch it.
     *
     * @param indexName the index the table's rows go into
     * @param dbName name the database was registered with ({@link #native_addDB})
     * @param tableName the table
     * @param keyField the table's primary-key column
     * @param indexFields comma-separated columns to index
     * @param whereCondition SQL condition selecting the rows to index, or null for all
     * @param tabPinyinField comma-separated columns of short names searchable by pinyin
     * @param profileFields comma-separated columns only stored, not searched
     * @param notokenFields comma-separated columns indexed whole, without cutting them
     * @param groupName the group of the index, or null for "default"
     * @return 0, or -1 when the index cannot be registered
     */
    public static native int native_add_index_for_table(String indexName, String dbName,
            String tableName, String keyField, String indexFields, String whereCondition,
            String tabPinyinField, String profileFields, String notokenFields, String groupName);

    /**
     * Registers a database the engine reads rows from.
     *
     * @param name name the other methods use for it
     * @param path the database file
     * @param key SQLCipher key, or null or empty for a plain database
     * @param wal whether the database is in write-ahead-log mode
     * @return 0, or -1 on failure
     */
    public static native int native_addDB(String name, String path, String key, boolean wal);

    /**
     * Follows the changes made through the application's own connection to a registered database.
     * The connection's {@code sqlite3*} fits an int only where native pointers are 32 bits; use
     * {@link #native_hook_db(String, long)} everywhere else.
     *
     * @param dbName the registered database
     * @param connection the connection's {@code sqlite3*}
     * @return 0, or -1 on failure (always where pointers are 64 bits)
     */
    public static native int native_hook_db(String dbName, int connection);

    /**
     * Follows the changes made through the application's own connection to a registered database.
     *
     * @param dbName the registered database
     * @param connection the connection's {@code sqlite3*}
     * @return 0, or -1 on failure
     */
    public static native int native_hook_db(String dbName, long connection);

    /**
     * Stops following a database's changes.
     *
     * @param dbName the registered database
     * @return 0, or -1 on failure
     */
    public static native int native_stop_hook_db(String dbName);

    /**
     * Indexes the next batch of 50 rows of a table, resuming where the last batch stopped.
     *
     * @param dbName the registered database
     * @param tableName the table
     * @param indexName the index
     * @return rows indexed by this batch, 0 when the table is done, negative on failure
     */
    public static native int native_scan_table(String dbName, String tableName, String indexName);

    /**
     * Passes the rows of an index through {@code SearchImpl.processor} before they are indexed.
     *
     * @param name the index
     * @return 0, or -1 without engine
     */
    public static native int native_set_index_dataFunc(String name);

    /**
     * Sends the engine's log lines to {@code SearchImpl.logSink}.
     *
     * @return 0, or -1 without engine
     */
    public static native int native_set_log_callback();

    /**
     * Adds a row to an index or replaces it.
     *
     * @param indexName the index
     * @param dbName the registered database
     * @param tableName the table
     * @param pkey the row's primary key
     * @param values the indexed columns' values in the index's order; each is indexed as its
     *     {@code toString()}, null as empty text
     * @return 0, or -1 on failure
     */
    public static native int native_modify_doc(String indexName, String dbName,
            String tableName, String pkey, Object[] values);

    /**
     * Deletes a row from an index, or clears tables.
     *
     * @param indexName the index
     * @param dbName the registered database
     * @param tableName the table
     * @param pkey the row's primary key; null or empty clears the whole table (with empty names,
     *     every table)
     * @return 0, or -1 on failure
     */
    public static native int native_del_doc(String indexName, String dbName, String tableName,
            String pkey);

    /**
     * The engine's version; a root written by another version is wiped when opened.
     *
     * @return "0.1.0"
     */
    public static native String native_index_version();

    /**
     * Compacts a group: rewrites its index without the deleted rows. Searches go on meanwhile.
     *
     * @param groupName the group
     * @param force compact whatever the group's share of deleted rows
     */
    public static native void native_ellipse_index(String groupName, boolean force);

    /**
     * Moves a table's scan position, once a scan has recorded one.
     *
     * @param indexName the index
     * @param dbName the registered database
     * @param tableName the table
     * @param rowid the row id the next scan batch starts after
     * @return 0, or -1 on failure
     */
    public static native int native_set_max_rawid(String indexName, String dbName,
            String tableName, int rowid);

    /**
     * Counts a group's deleted rows, which compaction would purge.
     *
     * @param groupName the group
     * @return the count, or -1 without engine or for an unknown group
     */
    public static native int native_get_del_num(String groupName);

    /**
     * Sets whether each change of a table's group is written to disk at once; switching it on
     * also saves the group.
     *
     * @param indexName the index
     * @param dbName the registered database
     * @param tableName the table
     * @param on write each change at once
     * @return 0, or -1 without engine
     */
    public static native int native_set_auto_save(String indexName, String dbName,
            String tableName, boolean on);

    /**
     * Lists the primary keys of a table's live rows.
     *
     * @param indexName the index
     * @param dbName the registered database
     * @param tableName the table
     * @return the keys as JSON text, or null
     */
    public static native String native_get_table_record(String indexName, String dbName,
            String tableName);

    /**
     * Continues a CRC-32 over the first 4 bytes of each string, in order.
     *
     * @param strings the strings
     * @param seed the CRC to continue
     * @return the CRC, or -1 for a null array
     */
    public static native int native_sign_str_hash(String[] strings, int seed);

    /**
     * The base weight of a match, which result weights build on.
     *
     * @return 20
     */
    public static native int native_base_weight();

    /**
     * Sets an engine option of the running engine's root (kept in its
     * "/Options.cfg"): utf8=full, infix_digits=N, fold=simplified, sync=on,
     * name_readings=surname|all_common, syllable_mix=on, fuzzy=z-zh,an-ang,...
     * (any subset of z-zh, c-ch, s-sh, n-l, l-r, f-h, an-ang, en-eng, in-ing), or
     * "off" for any of them. An option that changes what is indexed is refused
     * while the index holds documents.
     *
     * @param name the option's name
     * @param value its value
     * @return 0, or -1 for an unknown option or value, a refused change, or no engine
     */
    public static native int native_set_option(String name, String value);
}
