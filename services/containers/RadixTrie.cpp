// The nodes of the byte-wise trie over 32-bit keys: insertion, adaptive nodes and the ascending
// walk (the lookup is inline in the header).
#include "BrelonContainers.h"

namespace onf_detail {

// The word that holds a node's reference for a byte, 0 when the node has none.
size_t RadixTrieNodes::ChildSlot(uint32_t node, uint32_t byte) const {
    const uint32_t kind = m_Words[node] & 0xFFu;
    if (kind == FULL) {
        return m_Words[node + 1 + byte] != 0 ? node + 1 + byte : 0;
    }
    const uint32_t count = m_Words[node] >> 8;
    const unsigned char* keys = reinterpret_cast<const unsigned char*>(&m_Words[node + 1]);
    if (count == 0 || byte > keys[count - 1]) {
        return 0;
    }
    for (uint32_t i = 0; keys[i] <= byte; ++i) {
        if (keys[i] == byte) {
            return node + 1 + KeyWords(kind) + i;
        }
    }
    return 0;
}

// The reference at a position of a node (a byte of a full node, an entry of a sparse one);
// false past the node's last position.
bool RadixTrieNodes::RefAt(uint32_t node, uint32_t position, uint32_t& ref) const {
    const uint32_t kind = m_Words[node] & 0xFFu;
    if (kind == FULL || kind == RUN) {
        if (position >= 256) {
            return false;
        }
        ref = kind == RUN ? ENTRY | (m_Words[node + 1] + position) : m_Words[node + 1 + position];
        return true;
    }
    if (position >= m_Words[node] >> 8) {
        return false;
    }
    ref = m_Words[node + 1 + KeyWords(kind) + position];
    return true;
}

// A node of `kind` with no children: a freed one of that size, or new words at the end.
uint32_t RadixTrieNodes::NewNode(uint32_t kind) {
    const size_t size = NodeWords(kind);
    uint32_t node = m_FreeNodes[kind];
    if (node != 0) {
        m_FreeNodes[kind] = m_Words[node + 1];
    } else {
        const size_t first = m_Words.empty() ? 1 : m_Words.size();
        if (first + size > ENTRY) {
            throw std::length_error("BrelonRadixTrieMap: more than 2^31 words of nodes");
        }
        m_Words.resize(first + size); // may throw; word 0 stays unused
        node = static_cast<uint32_t>(first);
    }
    std::fill(m_Words.begin() + node, m_Words.begin() + node + static_cast<ptrdiff_t>(size), 0u);
    m_Words[node] = kind;
    ++m_NumNodes;
    return node;
}

// A freed node's second word links it to the next free node of its size.
void RadixTrieNodes::FreeNode(uint32_t node) {
    const uint32_t kind = m_Words[node] & 0xFFu;
    m_Words[node + 1] = m_FreeNodes[kind];
    m_FreeNodes[kind] = node;
    --m_NumNodes;
}

// Moves a full sparse node to one of twice the room (a full node past the largest sparse size);
// its parent's reference follows. Roots are full from the start, so a growing node has a parent.
uint32_t RadixTrieNodes::Grow(uint32_t node, size_t parentSlot) {
    const uint32_t kind = m_Words[node] & 0xFFu;
    const uint32_t larger = NewNode(kind == LARGEST_SPARSE ? FULL : kind + 1);
    const uint32_t count = m_Words[node] >> 8;
    const unsigned char* keys = reinterpret_cast<const unsigned char*>(&m_Words[node + 1]);
    const uint32_t* refs = &m_Words[node + 1 + KeyWords(kind)];
    const uint32_t largerKind = m_Words[larger] & 0xFFu;
    for (uint32_t i = 0; i < count; ++i) {
        if (largerKind == FULL) {
            m_Words[larger + 1 + keys[i]] = refs[i];
        } else {
            reinterpret_cast<unsigned char*>(&m_Words[larger + 1])[i] = keys[i];
            m_Words[larger + 1 + KeyWords(largerKind) + i] = refs[i];
        }
    }
    m_Words[larger] |= count << 8;
    m_Words[parentSlot] = larger;
    FreeNode(node);
    return larger;
}

// Adds a child the node lacks; a full sparse node grows first.
void RadixTrieNodes::AddChild(uint32_t node, size_t parentSlot, uint32_t byte, uint32_t ref) {
    uint32_t kind = m_Words[node] & 0xFFu;
    if (kind != FULL && (m_Words[node] >> 8) == Room(kind)) {
        node = Grow(node, parentSlot);
        kind = m_Words[node] & 0xFFu;
    }
    const uint32_t count = m_Words[node] >> 8;
    if (kind == FULL) {
        m_Words[node + 1 + byte] = ref;
    } else {
        unsigned char* keys = reinterpret_cast<unsigned char*>(&m_Words[node + 1]);
        uint32_t* refs = &m_Words[node + 1 + KeyWords(kind)];
        uint32_t i = count;
        for (; i > 0 && keys[i - 1] > byte; --i) {
            keys[i] = keys[i - 1];
            refs[i] = refs[i - 1];
        }
        keys[i] = static_cast<unsigned char>(byte);
        refs[i] = ref;
    }
    m_Words[node] = kind | ((count + 1) << 8);
}

// A full node of the last byte whose children are the payloads p, p + 1, ..., p + 255 becomes a run
// of p. Dense ids given dense indices fill such nodes one after the other, so the trie of a
// million of them is a few kilobytes instead of four megabytes. The run is a saving only: where
// its node cannot be had, the full node stays, and the key just inserted stays with it.
void RadixTrieNodes::FoldRun(size_t parentSlot) {
    const uint32_t node = m_Words[parentSlot];
    if ((m_Words[node] & 0xFFu) != FULL || (m_Words[node] >> 8) != 256) {
        return;
    }
    const uint32_t first = m_Words[node + 1];
    if ((first & ENTRY) == 0) {
        return;
    }
    for (uint32_t byte = 1; byte < 256; ++byte) {
        if (m_Words[node + 1 + byte] != first + byte) {
            return;
        }
    }
    uint32_t run = 0;
    try {
        run = NewNode(RUN); // may move the words: nodes are indices
    } catch (const std::exception&) {
        return;
    }
    m_Words[run + 1] = first & ~ENTRY;
    m_Words[parentSlot] = run;
    FreeNode(node);
}

// Each step either finds the key, adds it where its byte has no child, or, where another key
// stands for the subtree, pushes that key one node down and goes on there. Every step leaves a
// whole trie behind, so a failed allocation loses nothing.
uint32_t RadixTrieNodes::Insert(uint32_t key, uint32_t payload, KeyOf keyOf, const void* owner,
                                bool& inserted) {
    inserted = false;
    if (payload > MAX_PAYLOAD) {
        throw std::length_error("BrelonRadixTrieMap: a payload beyond 31 bits");
    }
    int depth = LevelOf(key);
    if (m_Roots[depth] == 0) {
        m_Roots[depth] = NewNode(FULL);
    }
    uint32_t node = m_Roots[depth];
    size_t parentSlot = 0; // a root is full and never moves
    for (;; --depth) {
        const uint32_t byte = (key >> (8 * depth)) & 0xFFu;
        if ((m_Words[node] & 0xFFu) == RUN) {
            return m_Words[node + 1] + byte; // a run holds every key of its node
        }
        const size_t slot = ChildSlot(node, byte);
        if (slot == 0) {
            AddChild(node, parentSlot, byte, ENTRY | payload);
            inserted = true;
            if (depth == 0 && parentSlot != 0) {
                FoldRun(parentSlot);
            }
            return payload;
        }
        const uint32_t ref = m_Words[slot];
        if ((ref & ENTRY) == 0) {
            parentSlot = slot;
            node = ref;
            continue;
        }
        const uint32_t other = ref & ~ENTRY;
        const uint32_t otherKey = depth == 0 ? key : keyOf(owner, other);
        if (otherKey == key) {
            return other;
        }
        const uint32_t child = NewNode(1); // may move the words: slots are indices
        AddChild(child, slot, (otherKey >> (8 * (depth - 1))) & 0xFFu, ref);
        m_Words[slot] = child;
        parentSlot = slot;
        node = child;
    }
}

void RadixTrieNodes::Clear() {
    m_Words.clear();
    std::fill(std::begin(m_Roots), std::end(m_Roots), 0u);
    std::fill(std::begin(m_FreeNodes), std::end(m_FreeNodes), 0u);
    m_NumNodes = 0;
}

void RadixTrieNodes::Swap(RadixTrieNodes& other) noexcept {
    m_Words.swap(other.m_Words);
    std::swap(m_Roots, other.m_Roots);
    std::swap(m_FreeNodes, other.m_FreeNodes);
    std::swap(m_NumNodes, other.m_NumNodes);
}

uint32_t RadixTrieNodes::Cursor::Next(const RadixTrieNodes& nodes) {
    while (m_Level < 4) {
        if (m_Depth < 0) {
            const uint32_t root = nodes.m_Roots[m_Level];
            if (root == 0) {
                ++m_Level;
                continue;
            }
            m_Depth = 0;
            m_Node[0] = root;
            m_Position[0] = 0;
        }
        uint32_t ref = 0;
        if (!nodes.RefAt(m_Node[m_Depth], m_Position[m_Depth]++, ref)) {
            if (--m_Depth < 0) {
                ++m_Level;
            }
            continue;
        }
        if (ref == 0) {
            continue;
        }
        if ((ref & ENTRY) != 0) {
            return ref & ~ENTRY;
        }
        ++m_Depth;
        m_Node[m_Depth] = ref;
        m_Position[m_Depth] = 0;
    }
    return NONE;
}

} // namespace onf_detail

size_t BrelonIdIndexTrie::Insert(int id, size_t index, bool& inserted) {
    if (index > onf_detail::RadixTrieNodes::MAX_PAYLOAD) {
        throw std::length_error("BrelonIdIndexTrie: an index beyond 31 bits");
    }
    return m_Nodes.Insert(static_cast<uint32_t>(id), static_cast<uint32_t>(index), &IdOf, m_Ids,
                          inserted);
}
