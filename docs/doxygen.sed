# The headers' layout of comments, in doxygen's words: banner, parameters, sections, examples.
2,/^[^\/]/{
s|^//( ?)|///\1|
s|<([a-z ]+)>|\\<\1\\>|g
}
2s|^/// [^ ]+ - |/// @file\n/// |
1s|^/\* .*|/**|
2s|^ \* [^ ]+ - | * @file\n * |
s|^/\* |/** |
s|^( *///\| \*)   returns  +|\1 @returns |
s|^( *///\| \*)   example  +|\1 @par Example\n\1\n\1     |
s|^( *///\| \*)   (fails\|owns\|state\|differs\|asserts\|throws\|thread)  +|\1 @par \u\2\n\1 |
s|^( *///\| \*)   ([a-zA-Z]+)  +|\1 @param \2 |
s|^( *///\| \*)   ([^ ])|\1     \2|
s|^([^/]*[^ /]) +// |\1 ///< |
s|^([^/]*[^ /*]) +/\* |\1 /**< |
