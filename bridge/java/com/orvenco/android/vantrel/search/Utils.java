package com.orvenco.android.vantrel.search;

/** Text helpers of the search engine: highlighted abstracts and pinyin. No engine needed. */
public final class Utils {
    static {
        NativeHandler.ensureLoaded();
    }

    private Utils() {}

    /**
     * Cuts an abstract of a hit's text around the matches of a query, each match wrapped in
     * {@code <red>} and {@code </red>}; the query matches literally (case-blind for Latin
     * letters) or as the pinyin, leading letters or initials of Chinese characters.
     *
     * @param text the hit's text
     * @param query what the user typed
     * @param length most characters of the abstract, tags not counted
     * @return the abstract, or null when the query matches nothing or an argument is null or
     *     {@code length} is below 1
     */
    public static native String native_highlight_abstract(String text, String query, int length);

    /**
     * The pinyin of one Han character, in lower case, without tones, with ü written as v.
     *
     * @param text the character
     * @param length the character's length in UTF-8 bytes, which must be 3
     * @return the reading, or null for another length or a character without pinyin
     */
    public static native String native_convert_pinyin(String text, int length);
}
