// A card for each file: its thumbnail, or why there is none.

function makeThumbnail(file) {
    const image = make("img");
    image.loading = "lazy";
    image.decoding = "async";
    image.alt = "";
    image.width = file.thumbWidth;
    image.height = file.thumbHeight;
    image.src = file.thumb;
    return image;
}

function makeMark(remarks) {
    const isGrave = remarks.some((remark) => remark.grave);
    return make("span", isGrave ? "mark grave" : "mark", isGrave ? "not as meant" : countOf(remarks.length, "remark"));
}

function makeCard(file) {
    const card = make("button", file.refused ? "card refused" : "card");
    card.type = "button";
    card.title = visible(file.path);
    const frame = make("span", "frame");
    if (file.thumb)
        frame.append(makeThumbnail(file));
    else
        frame.append(make("span", "why", reasonOf(file)));
    if (!file.refused && file.remarks.length > 0)
        frame.append(makeMark(file.remarks));
    const facts = make("span", "meta");
    facts.append(make("span", "", file.format), " ", make("span", "", file.refused ? "refused" : sizeOf(file)));
    card.append(frame, make("span", "name", visible(file.name)), facts);
    return card;
}
