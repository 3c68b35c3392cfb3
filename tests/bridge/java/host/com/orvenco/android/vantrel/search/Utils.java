package com.orvenco.android.vantrel.search;

/** Text helpers of the search engine: highlighted abstracts and pinyin. */
public final class Utils {
    static {
        NativeHandler.ensureLoaded();
    }

    private Utils() {}

    public static native String native_highlight_abstract(String text, String query, int length);
    public static native String native_convert_pinyin(String text, int length);
}
