"""What the generated documents say, by language. A star on both sides marks a word set in bold."""

SENTENCES = {
    "en": [
        "The harbour opens at six, but the {thing} is rarely ready before the tide has turned.",
        "Nobody had asked why the {thing} stood there, and after a while nobody noticed it.",
        "Keep the {thing} dry; water in the housing voids the warranty (see the last page).",
        "In 1987 the town bought three of them for 4,250 pounds, one of which still works.",
        "A *careful* reader will object that the measure was taken only twice.",
        "It rains a good deal here, mostly in autumn, and the roads become soft.",
        "Turn the {thing} clockwise until it clicks, then wait for about ten seconds.",
        "The committee, having no better idea, approved the second proposal without a vote.",
        "Whatever the reason, the result was the same: an empty store and a full ledger.",
        "“We could try again tomorrow,” she said, and closed the {thing} with both hands.",
        "Most of the error comes from the well-known drift of the {thing} under load.",
        "There are two ways to go on from here, and neither of them is short.",
        "Each sample was weighed, washed, dried at 60 degrees and weighed once more.",
        "He had carried the {thing} over the pass himself, which took him the better part of a day.",
        "The *old* method needs less material; the new one needs less patience.",
        "Should the light stay red, unplug the {thing} and call the number on its back.",
        "Their letters, of which forty survive, speak of little else than the price of wool.",
        "This is not what the figures show, although it is what everybody remembers.",
        "From the window one could see the {thing}, the orchard and a piece of the river.",
        "Finally, the cover is put back and the four screws are tightened crosswise.",
        "Other authors place the change some decades later and blame the weather for it.",
        "Why should a {thing} of that size need a foundation at all?",
    ],
    "de": [
        "Der {thing} öffnet früh, doch die Fähre kommt gewöhnlich erst gegen Mittag über den Fluß.",
        "Über die Größe der Türme läßt sich nur vermuten, was ältere Urkunden erzählen.",
        "Man prüft zunächst die Dichtung, löst die Schraube und hört auf das Geräusch.",
        "Im Jahr 1923 kostete ein {thing} mehr als 40 000 Mark, wie die Zürcher Zeitung schrieb.",
        "Die *schönsten* Stücke hängen heute im großen Saal des Museums für Völkerkunde.",
        "Übrigens wäre es möglich, daß sämtliche Zähler bei Kälte später zurückgesetzt würden.",
        "Wer den {thing} verstehen will, muß die Wege zwischen den Dörfern kennen.",
        "Bäume, Sträucher und Gräser bedecken die Hänge bis hinauf zur Höhe des Übergangs.",
    ],
    "fr": [
        "Le {thing} fut élevé à l'époque où Poincaré enseignait déjà à la faculté.",
        "Très tôt, les élèves naïfs découvrent que la théorie ne suffit pas à décrire l'été.",
        "On vérifie le réglage, puis on relève la température à intervalles réguliers.",
        "La forêt s'étend jusqu'à la rivière, là où les pêcheurs français préparaient leurs filets.",
        "C'est en 1889 que le *célèbre* {thing} fut présenté à la société des ingénieurs.",
        "Où aller, après avoir fermé la fenêtre et vidé la boîte à lettres ?",
        "Les tâches répétées fatiguent même l'ouvrière la plus expérimentée.",
    ],
    "he": [
        "הספרייה העירונית נפתחת בשעה שמונה בבוקר ונסגרת לקראת ערב.",
        "בשנת 1952 נבנה כאן בית הספר הראשון (הבניין הישן עומד עד היום).",
        "הקוראים הביאו איתם ספרים, מחברות ועטים, וישבו סביב שולחן גדול.",
        "המכשיר מדגם TX-40 שוקל 12.5 קילוגרם ומחירו 3,400 שקלים.",
        "איש לא ידע מדוע הדלת נשארה פתוחה כל הלילה.",
        "אפשר ללכת ברגל לאורך החוף (כשעה) או לנסוע באוטובוס.",
        "הגשם ירד שלושה ימים והדרכים בעמק התמלאו בוץ.",
    ],
    "ar": [
        "تفتح المكتبة أبوابها في الساعة الثامنة صباحا وتغلق قبل المساء.",
        "في عام 1952 بنيت هنا أول مدرسة (وما زال المبنى القديم قائما).",
        "جلس القراء حول طاولة كبيرة ومعهم كتب ودفاتر وأقلام.",
        "يزن الجهاز من طراز TX-40 نحو 12.5 كيلوغراما.",
        "لم يعرف أحد لماذا بقي الباب مفتوحا طوال الليل.",
        "يمكن السير على الأقدام قرب البحر (حوالي ساعة) أو ركوب الحافلة.",
    ],
    "zh": [
        "图书馆每天早上八点开门，傍晚之前关门。", "一九五二年，这里建起了第一所学校，旧楼至今还在。",
        "读者们带着书本和笔记，围坐在一张大桌子旁边。", "这台机器重十二公斤，价格是3400元。",
        "谁也不知道那扇门为什么整夜开着。", "雨下了三天，山谷里的路都变得很泥泞。", "沿着海边步行大约需要一个小时，也可以坐车。",
    ],
    "ja": [
        "図書館は毎朝八時に開き、夕方になる前に閉まります。", "一九五二年にここで最初の学校が建てられ、古い建物は今も残っています。",
        "読者たちは本とノートを持って、大きな机のまわりに座りました。", "この機械の重さは十二キログラムで、値段は3400円です。",
        "なぜそのドアが一晩中開いていたのか、だれも知りませんでした。", "海岸に沿って歩くと一時間ほどかかりますが、バスもあります。",
    ],
    "ko": [
        "도서관은 매일 아침 여덟 시에 문을 열고 저녁이 되기 전에 닫습니다.", "천구백오십이년에 이곳에 첫 번째 학교가 세워졌으며 옛 건물은 지금도 남아 있습니다.",
        "독자들은 책과 공책을 가지고 커다란 책상 둘레에 앉았습니다.", "이 기계의 무게는 십이 킬로그램이고 값은 3400원입니다.",
        "그 문이 왜 밤새 열려 있었는지 아무도 알지 못했습니다.", "바닷가를 따라 걸으면 한 시간쯤 걸리지만 버스를 탈 수도 있습니다.",
    ],
}

THINGS = {
    "en": "pump,lantern,winch,barrel organ,crane,ladder,engine,printing press,weather vane,boiler".split(","),
    "de": "Hafen,Turm,Brunnen,Bahnhof,Kran,Kessel".split(","),
    "fr": "pont,phare,moulin,marché,théâtre".split(","),
}

#: Beginnings of headings; a number is added where they would repeat.
HEADINGS = {
    "en": ["Before You Begin", "The Locking Nut", "Parts and Tools", "What the Letters Say", "Results", "Early Years",
           "Cleaning and Care", "A Note on Sources", "Second Attempt", "Faults", "Measurements", "How It Is Used"],
    "de": ["Überblick", "Die frühen Jahre", "Geräte und Werkzeuge", "Prüfung", "Schlußfolgerung", "Größe und Höhe"],
    "fr": ["Préface", "Les débuts", "Généralités", "Méthode employée", "Résultats", "Références et sources"],
    "he": ["הקדמה", "תולדות המקום", "אופן השימוש", "סיכום", "מקורות"],
    "ar": ["مقدمة", "تاريخ المكان", "طريقة الاستعمال", "خاتمة", "المصادر"],
    "zh": ["前言", "地方历史", "使用方法", "结论"],
    "ja": ["はじめに", "この町の歴史", "使い方", "おわりに"],
    "ko": ["머리말", "마을의 역사", "사용 방법", "맺음말"],
}
